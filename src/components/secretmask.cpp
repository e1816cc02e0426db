#include "src/components/secretmask.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <optional>

namespace {

constexpr std::string_view kMask = "****";

// Parts of the names of settings whose values are credentials, in lower case.
constexpr std::array<std::string_view, 5> kSecretNameParts = {"authorizationkey", "password", "psk", "apitoken",
                                                              "sharedsecret"};
// Names are no longer than this; what is longer is not looked at.
constexpr size_t kMaxNameLength = 60;

// A string literal of the text, without its quotes.
struct SToken {
  size_t begin;
  size_t length;
};

// Walks the string literals of a text of any quality; one that is not closed reaches to the end.
class CStringScanner {
 public:
  explicit CStringScanner(std::string_view text) : mText(text) {}

  std::optional<SToken> Next()
  {
    const auto quote = mText.find('"', mPosition);
    if (quote == std::string_view::npos) return std::nullopt;
    size_t end = quote + 1;
    while (end < mText.size() && mText[end] != '"') end += mText[end] == '\\' ? 2 : 1;
    end = std::min(end, mText.size());
    mPosition = end + 1;
    return SToken{quote + 1, end - quote - 1};
  }

 private:
  const std::string_view mText;
  size_t mPosition = 0;
};

// OCPP compares the names of keys without regard to case (OCPP 1.6 section 5.3, CiString).
bool IsSecretKey(std::string_view name)
{
  if (name.size() > kMaxNameLength) return false;
  std::string lower(name);
  std::transform(lower.begin(), lower.end(), lower.begin(),
                 [](unsigned char character) { return static_cast<char>(std::tolower(character)); });
  return std::any_of(kSecretNameParts.begin(), kSecretNameParts.end(),
                     [&](std::string_view part) { return lower.find(part) != std::string::npos; });
}

bool NamesSecretKey(std::string_view text)
{
  CStringScanner scanner(text);
  while (const auto token = scanner.Next()) {
    if (IsSecretKey(text.substr(token->begin, token->length))) return true;
  }
  return false;
}

// Where the password stands in the string `value`, if it is a location with one; length 0: nowhere.
SToken FindPassword(std::string_view value)
{
  const auto at = value.rfind('@');
  if (at == std::string_view::npos) return {0, 0};
  const auto head = value.substr(0, at);
  size_t begin = 0;
  // A solidus may be escaped in JSON.
  for (const std::string_view separator : {"://", ":\\/\\/"}) {
    const auto found = head.find(separator);
    if (found != std::string_view::npos) begin = std::max(begin, found + separator.size());
  }
  const auto colon = head.find(':', begin);
  if (colon == std::string_view::npos) return {0, 0};
  return {colon + 1, at - colon - 1};
}

enum class ERole {
  EText,            // a value, or an element of a list
  ENameOfText,      // the name of a member whose value is a string
  ENameOfAnything,  // the name of any other member
};

// What the string whose closing quote is at `position` is.
ERole RoleOf(std::string_view text, size_t position)
{
  constexpr std::string_view kSpace = " \t\r\n";
  const auto colon = text.find_first_not_of(kSpace, std::min(position + 1, text.size()));
  if (colon == std::string_view::npos || text[colon] != ':') return ERole::EText;
  const auto value = text.find_first_not_of(kSpace, colon + 1);
  return value != std::string_view::npos && text[value] == '"' ? ERole::ENameOfText : ERole::ENameOfAnything;
}

}  // namespace

std::string MaskSecrets(std::string_view text)
{
  const bool namesSecret = NamesSecretKey(text);
  std::string masked;
  masked.reserve(text.size());
  size_t copied = 0;
  const auto mask = [&](const SToken& secret) {
    masked.append(text.substr(copied, secret.begin - copied)).append(kMask);
    copied = secret.begin + secret.length;
  };
  bool isSecretValue = false;
  CStringScanner scanner(text);
  while (const auto token = scanner.Next()) {
    const auto value = text.substr(token->begin, token->length);
    if (isSecretValue) {
      mask(*token);
      isSecretValue = false;
      continue;
    }
    switch (RoleOf(text, token->begin + token->length)) {
      case ERole::ENameOfText:
        isSecretValue = IsSecretKey(value) || (namesSecret && value == "value");
        break;
      case ERole::ENameOfAnything:
        break;
      case ERole::EText:
        if (const auto password = FindPassword(value); password.length > 0) {
          mask({token->begin + password.begin, password.length});
        }
        break;
    }
  }
  masked.append(text.substr(copied));
  return masked;
}
