// A global locale that folds more than ASCII, for as long as an object lives.

#ifndef QVL_TESTS_SUPPORT_FOLDING_LOCALE_H
#define QVL_TESTS_SUPPORT_FOLDING_LOCALE_H

#include <locale>

namespace QVL {
namespace Test {

// While it lives, the global locale turns the bytes 0xC0 to 0xDE to lower case as ISO 8859-1 does,
// beside the ASCII letters. The C library's locale stays as it is.
class FoldingLocale {
 public:
  FoldingLocale() : m_before(std::locale::global(std::locale(std::locale(), new Folding))) {}
  ~FoldingLocale() { std::locale::global(m_before); }

  FoldingLocale(const FoldingLocale&) = delete;
  FoldingLocale& operator=(const FoldingLocale&) = delete;

 private:
  class Folding : public std::ctype<char> {
   protected:
    char do_tolower(char c) const override {
      const auto byte = static_cast<unsigned char>(c);
      if ((byte >= 'A' && byte <= 'Z') || (byte >= 0xC0 && byte <= 0xDE)) {
        return static_cast<char>(byte + 0x20);
      }
      return c;
    }
    const char* do_tolower(char* begin, const char* end) const override {
      for (; begin != end; ++begin) *begin = do_tolower(*begin);
      return end;
    }
  };

  const std::locale m_before;
};

}  // namespace Test
}  // namespace QVL

#endif  // QVL_TESTS_SUPPORT_FOLDING_LOCALE_H
