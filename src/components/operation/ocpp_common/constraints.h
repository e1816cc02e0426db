#pragma once

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>

// Length and pattern limits of payload members, as the published schemas give them.
namespace OcppConstraints {

// The limits of one member. Lengths count characters (Unicode code points), as JSON schema does, not bytes.
struct classMemberConstraints {
  classMemberConstraints(std::optional<int64_t> minimum, std::optional<int64_t> maximum,
                         std::optional<std::string> expression)
      : minLength(minimum), maxLength(maximum), pattern(std::move(expression))
  {}
  virtual ~classMemberConstraints() = default;

  std::optional<int64_t> minLength;
  std::optional<int64_t> maxLength;
  std::optional<std::string> pattern;  // regular expression, ECMAScript, searched for in the value
};

class classMemberConstraintException : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

class valueTooShortException : public classMemberConstraintException {
 public:
  using classMemberConstraintException::classMemberConstraintException;
};

class valueTooLongException : public classMemberConstraintException {
 public:
  using classMemberConstraintException::classMemberConstraintException;
};

class invalidPatternException : public classMemberConstraintException {
 public:
  using classMemberConstraintException::classMemberConstraintException;
};

// Throws the exception of the first limit that `value` breaks, in the order minimum, maximum, pattern. An empty
// pattern is none. `memberName` names the member in the exception's text.
void Check(const std::string& memberName, const classMemberConstraints& constraints, const std::string& value);

// The name under which exceptions speak of the JSON member `jsonName`: "chargePointModel" is "ChargePointModel".
std::string MemberName(std::string_view jsonName);

// A text member of limited length. Whatever is assigned to it passes Check; a value that fails leaves it as it was.
//
// It starts unassigned: empty, and left out of the JSON text. TName::kName is the member's JSON name.
template <int64_t MaxLength, int64_t MinLength, typename TName>
class CConstrainedText {
 public:
  CConstrainedText() = default;
  // NOLINTBEGIN(google-explicit-constructor): assigned and read like the text that it is
  CConstrainedText(std::string value) : mIsAssigned(true)
  {
    Check(GetMemberName(), GetConstraints(), value);
    mValue = std::move(value);
  }
  CConstrainedText(const char* value) : CConstrainedText(std::string(value)) {}
  template <int64_t OtherMax, int64_t OtherMin, typename TOther>
  CConstrainedText(const CConstrainedText<OtherMax, OtherMin, TOther>& other) : CConstrainedText(other.Get())
  {}
  operator const std::string&() const { return mValue; }
  // NOLINTEND(google-explicit-constructor)

  const std::string& Get() const { return mValue; }
  bool IsAssigned() const { return mIsAssigned; }

  static const classMemberConstraints& GetConstraints()
  {
    static const classMemberConstraints constraints(MinLength > 0 ? std::optional<int64_t>(MinLength) : std::nullopt,
                                                    MaxLength, std::nullopt);
    return constraints;
  }
  static const std::string& GetMemberName()
  {
    static const std::string name = MemberName(TName::kName);
    return name;
  }

  friend bool operator==(const CConstrainedText& left, std::string_view right) { return left.mValue == right; }
  friend bool operator!=(const CConstrainedText& left, std::string_view right) { return left.mValue != right; }
  friend bool operator==(std::string_view left, const CConstrainedText& right) { return left == right.mValue; }
  friend bool operator!=(std::string_view left, const CConstrainedText& right) { return left != right.mValue; }

 private:
  std::string mValue;
  bool mIsAssigned = false;
};

template <int64_t Max, int64_t Min, typename TName, int64_t OtherMax, int64_t OtherMin, typename TOther>
bool operator==(const CConstrainedText<Max, Min, TName>& left,
                const CConstrainedText<OtherMax, OtherMin, TOther>& right)
{
  return left.Get() == right.Get();
}

template <int64_t Max, int64_t Min, typename TName, int64_t OtherMax, int64_t OtherMin, typename TOther>
bool operator!=(const CConstrainedText<Max, Min, TName>& left,
                const CConstrainedText<OtherMax, OtherMin, TOther>& right)
{
  return !(left == right);
}

}  // namespace OcppConstraints
