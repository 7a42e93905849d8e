#include "qvl/core/QVLException.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <type_traits>

namespace QVL {
namespace {

static_assert(std::is_same_v<decltype(QVLException::m_code), std::int32_t>);
static_assert(std::is_same_v<decltype(QVLException::m_message), std::string>);
static_assert(!std::is_polymorphic_v<QVLException>);
static_assert(!std::is_base_of_v<std::exception, QVLException>);
static_assert(std::is_nothrow_destructible_v<QVLException>);
static_assert(std::is_copy_constructible_v<QVLException>);
static_assert(std::is_copy_assignable_v<QVLException>);

TEST(QVLException, KeepsCodeAndMessage) {
  const QVLException exception(-7, "what went wrong");
  EXPECT_EQ(exception.m_code, -7);
  EXPECT_EQ(exception.m_message, "what went wrong");
}

TEST(QVLException, PlacesCodeBeforeMessage) {
  const QVLException exception(3, "text");
  EXPECT_LT(static_cast<const void*>(&exception.m_code),
            static_cast<const void*>(&exception.m_message));
}

TEST(QVLException, IsCopiedWithItsFields) {
  const QVLException original(3, "first");
  QVLException copy(original);
  EXPECT_EQ(copy.m_code, 3);
  EXPECT_EQ(copy.m_message, "first");

  copy.m_message = "changed";
  EXPECT_EQ(original.m_message, "first");

  copy = QVLException(4, "second");
  EXPECT_EQ(copy.m_code, 4);
  EXPECT_EQ(copy.m_message, "second");
}

TEST(QVLException, IsThrownByValueAndCaughtByReference) {
  try {
    throw QVLException(QVLException::kCode, "thrown");
  } catch (const QVLException& caught) {
    EXPECT_EQ(caught.m_code, 3);
    EXPECT_EQ(caught.m_message, "thrown");
  }
}

TEST(QVLException, CodeOfTheLibraryIsThree) {
  EXPECT_EQ(QVLException::kCode, 3);
}

}  // namespace
}  // namespace QVL
