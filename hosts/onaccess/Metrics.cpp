#include "Metrics.h"

#include <limits>

#include "fmt/format.h"

namespace onaccess {
namespace {

std::string header(const std::string& name, const char* type, const std::string& help) {
  return fmt::format("# HELP {0} {2}\n# TYPE {0} {1}\n", name, type, help);
}

}  // namespace

void Histogram::add(Duration duration) {
  const double seconds = std::chrono::duration<double>(duration).count();
  std::size_t bucket = 0;
  while (bucket < kBounds.size() && seconds > kBounds[bucket]) ++bucket;
  ++m_counts[bucket];
  m_sum += std::chrono::nanoseconds(duration).count();
}

std::string Histogram::inPrometheusText(const std::string& name, const std::string& labels) const {
  std::string text;
  std::uint64_t count = 0;
  for (std::size_t i = 0; i <= kBounds.size(); ++i) {
    count += m_counts[i];
    const std::string bound = i < kBounds.size() ? fmt::format("{}", kBounds[i]) : "+Inf";
    text += fmt::format("{}_bucket{{{},le=\"{}\"}} {}\n", name, labels, bound, count);
  }
  text += fmt::format("{}_sum{{{}}} {}\n", name, labels, static_cast<double>(m_sum) / 1e9);
  text += fmt::format("{}_count{{{}}} {}\n", name, labels, count);
  return text;
}

double Histogram::quantile(double share) const {
  std::array<std::uint64_t, kBounds.size() + 1> counts;
  std::uint64_t all = 0;
  for (std::size_t i = 0; i < counts.size(); ++i) all += counts[i] = m_counts[i];
  if (all == 0) return 0;
  std::uint64_t below = 0;
  for (std::size_t i = 0; i < kBounds.size(); ++i) {
    below += counts[i];
    if (static_cast<double>(below) >= share * static_cast<double>(all)) return kBounds[i];
  }
  return std::numeric_limits<double>::infinity();
}

std::uint64_t Metrics::opens() const {
  std::uint64_t opens = 0;
  for (const Counter& count : outcomes) opens += count;
  return opens;
}

std::string Metrics::inPrometheusText() const {
  std::string text =
      header("qvl_onaccess_opens_total", "counter", "Opens, by what became of them.");
  for (std::size_t i = 0; i < kOutcomes; ++i) {
    text += fmt::format("qvl_onaccess_opens_total{{outcome=\"{}\"}} {}\n",
                        nameOf(static_cast<Outcome>(i)), outcomes[i].load());
  }
  text += header("qvl_onaccess_answers_total", "counter", "Answers to opens.");
  text += fmt::format("qvl_onaccess_answers_total{{answer=\"allow\"}} {}\n", allowed.load());
  text += fmt::format("qvl_onaccess_answers_total{{answer=\"deny\"}} {}\n", denied.load());
  text += header("qvl_onaccess_names_not_trusted_total", "counter",
                 "Opens that the policy was not asked about, by what was wrong with a name.");
  for (std::size_t i = 1; i < kNameTroubles; ++i) {
    text += fmt::format("qvl_onaccess_names_not_trusted_total{{trouble=\"{}\"}} {}\n",
                        nameOf(static_cast<NameTrouble>(i)), nameTroubles[i].load());
  }
  const auto add = [&text](const char* name, const char* help, const Counter& counter) {
    text += prometheusMetric(name, "counter", help, static_cast<double>(counter));
  };
  add("qvl_onaccess_unawaited_answers_total", "Answers that nobody waited for any more.",
      unawaited);
  add("qvl_onaccess_queue_overflows_total",
      "How often the kernel let opens pass because its queue was full.", overflows);
  add("qvl_onaccess_kernel_failures_total",
      "Opens that the kernel denied because it could not hand them over.", kernelFailures);
  text += header("qvl_onaccess_wait_seconds", "histogram", "How long opens waited for an answer.");
  text += decided.inPrometheusText("qvl_onaccess_wait_seconds", "way=\"decided\"");
  text += scanned.inPrometheusText("qvl_onaccess_wait_seconds", "way=\"scanned\"");
  return text;
}

std::string prometheusMetric(const std::string& name, const char* type, const std::string& help,
                             double value) {
  return header(name, type, help) + fmt::format("{} {:.15g}\n", name, value);
}

std::string prometheusLabel(const std::string& text) {
  std::string label;
  for (const char c : text) {
    if (c == '\n') {
      label += "\\n";
    } else {
      if (c == '\\' || c == '"') label += '\\';
      label += c;
    }
  }
  return label;
}

}  // namespace onaccess
