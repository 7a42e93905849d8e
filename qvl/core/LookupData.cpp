#include "qvl/core/LookupData.h"

namespace QVL {

ILookupData::~ILookupData() {
  // Without a virtual function that is not pure, a class has no table of its own unless somebody
  // looks at it. Hosts built before this one was pure refer to the library's.
  asm volatile("" : : "r"(this) : "memory");
}

LookupData::~LookupData() = default;

void LookupData::setMatchIndentifier(unsigned int number) {
  m_matchIdentifiers.push_back(number);
}

}  // namespace QVL
