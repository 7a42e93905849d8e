#include "audit/AuditPage.h"

#include <qvl/qvl.h>

#include <cstdint>
#include <string_view>
#include <utility>
#include <vector>

#include "embedded/Embedded.h"
#include "fmt/format.h"
#include "io/Output.h"

namespace qvlctl {
namespace {

// A text as it stands between tags and in attributes; what does not show is shown as \xNN.
std::string inHtml(const Json& text) {
  std::string result = escapedPattern(text.get<std::string>());
  result = QVL::Utility::replaceAll(std::move(result), "&", "&amp;");
  result = QVL::Utility::replaceAll(std::move(result), "<", "&lt;");
  result = QVL::Utility::replaceAll(std::move(result), ">", "&gt;");
  return QVL::Utility::replaceAll(std::move(result), "\"", "&quot;");
}

std::string path(const Json& text) {
  return fmt::format("<span class=\"path\">{}</span>", inHtml(text));
}

std::string titleOf(const Json& audit) {
  std::vector<std::string> roots;
  for (const Json& root : audit["roots"]) roots.push_back(inHtml(root["path"]));
  return fmt::format("Audit of {}", fmt::join(roots, ", "));
}

std::string evidenceRow(const char* title, const std::string& content) {
  return fmt::format("<div><dt>{}</dt><dd>{}</dd></div>\n", title, content);
}

// The cells "1,234" and "5.6 GiB".
std::string cells(const Json& tally) {
  return fmt::format("<td class=\"number\">{}</td><td class=\"number\">{}</td>",
                     grouped(tally["files"].get<std::uint64_t>()),
                     readableSize(tally["bytes"].get<std::uint64_t>()));
}

std::string table(const char* name, const char* caption, const std::string& head,
                  const std::string& rows) {
  return fmt::format(
      "<div class=\"scroll\" tabindex=\"0\" role=\"region\" aria-label=\"{}\">"
      "<table><caption><span>{}</span></caption>\n<thead><tr>{}</tr></thead>\n<tbody>\n{}</tbody></"
      "table></"
      "div>\n",
      name, caption, head, rows);
}

std::string totals(const Json& audit) {
  const Json& found = audit["found"];
  std::string rows;
  for (const auto& [name, title] : {std::pair("found", "Found"), std::pair("skipped", "Skipped"),
                                    std::pair("scanned", "Scanned")}) {
    const Json& tally = audit[name];
    const auto share = [&](const char* member) {
      return percentage(tally[member].get<std::uint64_t>(), found[member].get<std::uint64_t>());
    };
    rows += fmt::format(
        "<tr><th scope=\"row\">{}</th>{}<td class=\"number\">{}</td><td "
        "class=\"number\">{}</td></tr>\n",
        title, cells(tally), share("files"), share("bytes"));
  }
  return table("Totals",
               "Regular files. Skipped: for at least one of the accesses that were asked about.",
               "<th scope=\"col\"><span class=\"unseen\">Verdict</span></th>"
               "<th scope=\"col\" class=\"number\">Files</th>"
               "<th scope=\"col\" class=\"number\">Size</th>"
               "<th scope=\"col\" class=\"number\">Of the files</th>"
               "<th scope=\"col\" class=\"number\">Of the bytes</th>",
               rows);
}

std::string queries(const Json& audit) {
  std::string rows;
  for (const Json& query : audit["queries"]) {
    const std::string& process = query["process"].get_ref<const std::string&>();
    std::string processes = process.empty() ? "none" : path(query["process"]);
    for (const Json& alike : query["alikeProcesses"]) processes += ", " + path(alike["process"]);
    rows += fmt::format("<tr><td class=\"line\">{}{}</td><td class=\"wide\">{}</td>{}</tr>\n",
                        inHtml(query["access"]),
                        query["otherAccess"] == true ? ", and what no rule names" : "", processes,
                        cells(query["skipped"]));
  }
  if (audit["queries"].size() > 1) {
    rows += fmt::format("<tr><td class=\"line\">all of these</td><td></td>{}</tr>\n",
                        cells(audit["skippedAlways"]));
  }
  return table("What was asked", "Files that are skipped, by what was asked about each.",
               "<th scope=\"col\">Access</th><th scope=\"col\">Process</th>"
               "<th scope=\"col\" class=\"number\">Files skipped</th>"
               "<th scope=\"col\" class=\"number\">Size</th>",
               rows);
}

// What can be read without scripts, too.
std::string summaryOf(const Json& audit) {
  std::string text = fmt::format(
      "<h1>{}</h1>\n<p class=\"quiet\">What goes unscanned under {}. Logic: <code>{}</code></p>\n",
      titleOf(audit), path(audit["policy"]), inHtml(trimmed(audit["logic"].get<std::string>())));
  text += "<dl class=\"evidence\">\n";
  text += evidenceRow("Taken", fmt::format("<time>{}</time>", inHtml(audit["created"])));
  text += evidenceRow("On", path(audit["host"]));
  text += evidenceRow("With", fmt::format("{} {}", inHtml(audit["tool"]["name"]),
                                          inHtml(audit["tool"]["version"])));
  text += evidenceRow("Policy", fmt::format("{}, format {}", path(audit["policy"]),
                                            inHtml(audit["policyVersion"])));
  text += evidenceRow("Its digest", path(audit["policyDigest"]));
  text += "</dl>\n";
  text += totals(audit) + "<h2>What was asked</h2>\n" + queries(audit);
  return text;
}

}  // namespace

std::string auditPage(const Json& audit) {
  // A script ends at the first "</script" in it, wherever that stands; "<" can be written
  // otherwise.
  const std::pair<std::string_view, std::string> parts[] = {
      {"@TITLE@", titleOf(audit)},
      {"@SUMMARY@", summaryOf(audit)},
      {"@AUDIT@", QVL::Utility::replaceAll(jsonLine(audit), "<", "\\u003c")}};
  // In the order of the page, so that what is put in is not looked at again.
  std::string page;
  std::string_view rest = kAuditPage;
  for (const auto& [mark, text] : parts) {
    const std::size_t place = rest.find(mark);
    page.append(rest.substr(0, place)).append(text);
    rest.remove_prefix(place + mark.size());
  }
  return page.append(rest);
}

}  // namespace qvlctl
