#include "qvl/core/LookupData.h"

namespace QVL {

ILookupData::~ILookupData() = default;

LookupData::~LookupData() = default;

void LookupData::setMatchIndentifier(unsigned int number) {
  m_matchIdentifiers.push_back(number);
}

}  // namespace QVL
