// ThreadSanitizer does not see how libboost_regex, which is not built with it, hands blocks of
// memory from one thread to the next, and takes their reuse for a race. With ThreadSanitizer, these
// replace the library's: every match gets blocks of its own, and real races are still reported.

#include <boost/regex/config.hpp>
#include <boost/version.hpp>
#include <new>

// Later releases are headers only, and thus seen.
#if BOOST_VERSION < 107600

namespace boost {
namespace BOOST_REGEX_DETAIL_NS {

void* get_mem_block() {
  return ::operator new(BOOST_REGEX_BLOCKSIZE);
}

void put_mem_block(void* block) {
  ::operator delete(block);
}

}  // namespace BOOST_REGEX_DETAIL_NS
}  // namespace boost

#endif
