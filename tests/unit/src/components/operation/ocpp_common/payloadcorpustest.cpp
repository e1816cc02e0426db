#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <vector>

#include "tests/unit/src/components/operation/ocpp_common/payloadtable.h"

namespace {

std::vector<std::filesystem::path> CorpusFiles()
{
  std::vector<std::filesystem::path> files;
  for (const auto& entry : std::filesystem::directory_iterator(SECC_PAYLOAD_CORPUS)) files.push_back(entry.path());
  std::sort(files.begin(), files.end());
  return files;
}

std::string Content(const std::filesystem::path& path)
{
  std::ifstream file(path, std::ios::binary);
  std::ostringstream content;
  content << file.rdbuf();
  return content.str();
}

}  // namespace

// The corpus of the fuzz target, as an ordinary test.
TEST(PayloadCorpus, EveryReaderCopesWithEveryFile)
{
  const auto files = CorpusFiles();
  ASSERT_GE(files.size(), Payloads().size());
  for (const auto& file : files) EXPECT_TRUE(CheckForeignPayload(Content(file))) << file;
}

// The corpus reaches each record: a file named after the message is a valid instance of it.
TEST(PayloadCorpus, EachMessageHasAFileThatItsReaderAccepts)
{
  for (const auto& payload : Payloads()) {
    const auto file = std::filesystem::path(SECC_PAYLOAD_CORPUS) / (payload.name + ".json");
    ASSERT_TRUE(std::filesystem::exists(file)) << file;
    EXPECT_NO_THROW(payload.reread(Content(file))) << file;
  }
}

TEST(PayloadTable, ReadPayloadFindsTheReaderByName)
{
  EXPECT_EQ(ReadPayload("Authorize.req", R"({ "idTag" : "A" })"), R"({"idTag":"A"})");
  EXPECT_THROW(ReadPayload("NoSuch.req", "{}"), std::invalid_argument);
}
