#include "src/components/operation/ocpp_common/constraints.h"

#include <gtest/gtest.h>

using OcppConstraints::CConstrainedText;
using OcppConstraints::Check;
using OcppConstraints::classMemberConstraints;

namespace {

struct SWord {
  static constexpr const char* kName = "chargePointVendor";
};
using CWord = CConstrainedText<5, 2, SWord>;

struct SInfo {
  static constexpr const char* kName = "info";
};
using CInfo = CConstrainedText<50, 0, SInfo>;

template <typename TException, typename TCode>
std::string TextOf(const TCode& code)
{
  try {
    code();
  } catch (const TException& exception) {
    return exception.what();
  }
  return "nothing thrown";
}

}  // namespace

TEST(Constraints, ValueShorterThanMinimumIsTooShort)
{
  const classMemberConstraints constraints(3, std::nullopt, std::nullopt);
  EXPECT_EQ(TextOf<OcppConstraints::valueTooShortException>([&] { Check("IdTag", constraints, "ab"); }),
            "Value too short for IdTag (2<3)");
  EXPECT_NO_THROW(Check("IdTag", constraints, "abc"));
}

TEST(Constraints, ValueLongerThanMaximumIsTooLong)
{
  const classMemberConstraints constraints(std::nullopt, 20, std::nullopt);
  EXPECT_EQ(TextOf<OcppConstraints::valueTooLongException>([&] { Check("IdTag", constraints, std::string(21, 'x')); }),
            "Value too long for IdTag (21>20)");
  EXPECT_NO_THROW(Check("IdTag", constraints, std::string(20, 'x')));
}

TEST(Constraints, ValueWithoutMatchOfPatternIsInvalid)
{
  const classMemberConstraints constraints(std::nullopt, std::nullopt, "^[0-9]+$");
  EXPECT_EQ(TextOf<OcppConstraints::invalidPatternException>([&] { Check("Key", constraints, "12a"); }),
            "Value doesn't match pattern for Key (12a != ^[0-9]+$)");
  EXPECT_NO_THROW(Check("Key", constraints, "12"));
}

TEST(Constraints, PatternIsSearchedForAndNeedNotCoverTheValue)
{
  EXPECT_NO_THROW(Check("Key", classMemberConstraints(std::nullopt, std::nullopt, "b+"), "aabcc"));
}

TEST(Constraints, EmptyPatternIsNoPattern)
{
  EXPECT_NO_THROW(Check("Key", classMemberConstraints(std::nullopt, std::nullopt, ""), "anything"));
}

TEST(Constraints, WithoutLimitsEverythingPasses)
{
  EXPECT_NO_THROW(
      Check("Key", classMemberConstraints(std::nullopt, std::nullopt, std::nullopt), std::string(9999, 'x')));
}

TEST(Constraints, LimitsAreCheckedInTheOrderMinimumMaximumPattern)
{
  const classMemberConstraints impossible(5, 1, "z");
  EXPECT_THROW(Check("Key", impossible, "abc"), OcppConstraints::valueTooShortException);
  const classMemberConstraints shortAndOdd(std::nullopt, 1, "z");
  EXPECT_THROW(Check("Key", shortAndOdd, "abc"), OcppConstraints::valueTooLongException);
}

TEST(Constraints, LengthCountsCharactersAndNotBytes)
{
  const classMemberConstraints constraints(std::nullopt, 3, std::nullopt);
  EXPECT_NO_THROW(Check("Info", constraints, "äö€"));
  EXPECT_EQ(TextOf<OcppConstraints::valueTooLongException>([&] { Check("Info", constraints, "äö€\xF0\x9F\x94\x8C"); }),
            "Value too long for Info (4>3)");
}

TEST(Constraints, AllExceptionsShareOneBase)
{
  EXPECT_THROW(throw OcppConstraints::valueTooShortException(""), OcppConstraints::classMemberConstraintException);
  EXPECT_THROW(throw OcppConstraints::valueTooLongException(""), OcppConstraints::classMemberConstraintException);
  EXPECT_THROW(throw OcppConstraints::invalidPatternException(""), OcppConstraints::classMemberConstraintException);
  EXPECT_THROW(throw OcppConstraints::classMemberConstraintException(""), std::runtime_error);
}

TEST(Constraints, MemberNameIsTheJsonNameWithACapital)
{
  EXPECT_EQ(OcppConstraints::MemberName("chargePointModel"), "ChargePointModel");
  EXPECT_EQ(OcppConstraints::MemberName(""), "");
}

TEST(ConstrainedText, AssignmentOfAFittingValueIsKept)
{
  CWord word;
  EXPECT_FALSE(word.IsAssigned());
  EXPECT_EQ(word.Get(), "");
  word = "abc";
  EXPECT_TRUE(word.IsAssigned());
  EXPECT_EQ(word.Get(), "abc");
  word = std::string("abcde");
  EXPECT_EQ(word, "abcde");
  EXPECT_NE(word, std::string("abcd"));
  const std::string& text = word;
  EXPECT_EQ(text, "abcde");
}

TEST(ConstrainedText, AssignmentOutsideTheLimitsThrowsAndLeavesTheValueAsItWas)
{
  CWord word = "abc";
  EXPECT_EQ(TextOf<OcppConstraints::valueTooLongException>([&] { word = "abcdef"; }),
            "Value too long for ChargePointVendor (6>5)");
  EXPECT_EQ(TextOf<OcppConstraints::valueTooShortException>([&] { word = std::string("a"); }),
            "Value too short for ChargePointVendor (1<2)");
  EXPECT_EQ(word, "abc");
}

TEST(ConstrainedText, AssignmentFromAnotherMemberIsCheckedAgainstTheOwnLimits)
{
  CWord word;
  word = CInfo("abc");
  EXPECT_EQ(word, (CInfo("abc")));
  const CInfo longer("abcdef");
  EXPECT_THROW(word = longer, OcppConstraints::valueTooLongException);
  EXPECT_NE(word, longer);
}

TEST(ConstrainedText, EachMemberHasOneRecordOfItsConstraints)
{
  EXPECT_EQ(CWord::GetConstraints().minLength, 2);
  EXPECT_EQ(CWord::GetConstraints().maxLength, 5);
  EXPECT_FALSE(CWord::GetConstraints().pattern);
  EXPECT_EQ(&CWord::GetConstraints(), &CWord::GetConstraints());
}
