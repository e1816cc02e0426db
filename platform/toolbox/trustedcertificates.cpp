#include "platform/toolbox/trustedcertificates.h"

#include <algorithm>
#include <cctype>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string_view>

#include "platform/iclogger/log.h"

namespace Toolbox {
namespace {

constexpr std::string_view kBegin = "-----BEGIN CERTIFICATE-----";
constexpr std::string_view kEnd = "-----END CERTIFICATE-----";
// A folder of certificates holds no large files; whatever does is something else.
constexpr uintmax_t kMaxFileSize = 4'194'304;

int GetDigit(char c)
{
  static constexpr std::string_view kAlphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  const size_t digit = kAlphabet.find(c);
  return digit == std::string_view::npos ? -1 : static_cast<int>(digit);
}

// True when the base64 text is one DER sequence of exactly its length, which damage and truncation do not leave.
bool IsSequence(std::string text)
{
  text.erase(std::remove_if(text.begin(), text.end(), [](unsigned char c) { return std::isspace(c) != 0; }),
             text.end());
  const size_t digits = std::min(text.find('='), text.size());
  const bool isBase64 = text.size() % 4 == 0 && text.size() - digits <= 2 &&
                        text.find_first_not_of('=', digits) == text.npos &&
                        std::all_of(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(digits),
                                    [](char c) { return GetDigit(c) >= 0; });
  if (!isBase64 || digits < 8) return false;
  const size_t bytes = digits * 3 / 4;
  uint64_t head = 0;  // the first six bytes
  for (size_t i = 0; i < 8; ++i) head = (head << 6U) | static_cast<unsigned>(GetDigit(text[i]));
  const auto byteAt = [head](unsigned i) { return static_cast<size_t>((head >> (40U - 8U * i)) & 0xFFU); };
  // Every certificate is longer than 127 and shorter than 65536 bytes: its length takes one or two bytes of its own.
  if (byteAt(0) != 0x30) return false;
  if (byteAt(1) == 0x81) return bytes == 3 + byteAt(2);
  return byteAt(1) == 0x82 && bytes == 4 + byteAt(2) * 256 + byteAt(3);
}

void AppendCertificates(const std::string& path, std::string& all)
{
  std::ifstream file(path, std::ios::binary);
  std::ostringstream stream;
  stream << file.rdbuf();
  const std::string text = stream.str();
  size_t begin = text.find(kBegin);
  while (begin != std::string::npos) {
    const size_t content = begin + kBegin.size();
    const size_t end = text.find(kEnd, content);
    if (end == std::string::npos || !IsSequence(text.substr(content, end - content))) {
      LOG_WARNING("Left out a damaged certificate in {}", path);
      begin = text.find(kBegin, content);
      continue;
    }
    all.append(text, begin, end + kEnd.size() - begin).append("\n");
    begin = text.find(kBegin, end);
  }
}

}  // namespace

std::string ReadTrustedCertificates(const std::vector<std::string>& directories)
{
  std::string all;
  for (const std::string& directory : directories) {
    std::error_code error;
    std::vector<std::string> paths;
    for (const auto& entry : std::filesystem::directory_iterator(directory, error)) {
      std::error_code ignored;
      if (entry.is_regular_file(ignored) && entry.file_size(ignored) <= kMaxFileSize) paths.push_back(entry.path());
    }
    std::sort(paths.begin(), paths.end());
    for (const std::string& path : paths) AppendCertificates(path, all);
  }
  return all;
}

}  // namespace Toolbox
