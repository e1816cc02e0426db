#include "tests/unit/src/components/ocppcomponent/day/dayreader.h"

#include <fmt/format.h>

#include <algorithm>

using namespace std::chrono_literals;

namespace {

const std::string kRequest = "driver-";
// Several calls that are never answered may stand ahead of the question.
constexpr auto kPatience = 10min;
constexpr int64_t kTags = 8;

}  // namespace

CDayReader::CDayReader(const IClock& clock, std::shared_ptr<CFakeSessionManager> manager, uint32_t seed)
    : mClock(clock), mManager(std::move(manager)), mChance(seed)
{}

void CDayReader::Present()
{
  ipc::MAuthorizeRequest request;
  {
    CLock lock(mMutex);
    request.set_connector(mChance.Percent(70) ? 1 : 0);
    request.mutable_user_identification()->set_token(fmt::format("GUEST{}", mChance.Below(kTags)));
    // Otherwise the session manager has let the tag through already.
    if (mChance.Percent(80)) {
      request.set_request_id(kRequest + std::to_string(mDrivers.size()));
      mDrivers.push_back({mClock.SteadyNow()});
    }
  }
  mClient->EmitAuthorizeId(request.connector(), request);
}

void CDayReader::Excuse()
{
  CLock lock(mMutex);
  for (auto& driver : mDrivers) driver.isExcused = true;
}

std::vector<std::string> CDayReader::Look()
{
  std::vector<std::string> faults;
  const auto ofManager = mManager->AuthorizeRequests();
  const auto ofClient = mClient->AuthorizeRequests();
  CLock lock(mMutex);
  TakeAnswers(ofManager, mSeenOfManager, faults);
  TakeAnswers(ofClient, mSeenOfClient, faults);
  for (size_t number = 0; number < mDrivers.size(); ++number) {
    auto& driver = mDrivers[number];
    if (driver.isAnswered || driver.isExcused || mClock.SteadyNow() - driver.since < kPatience) continue;
    faults.push_back(fmt::format("driver {} waits without an answer", number));
    driver.isExcused = true;
  }
  return faults;
}

void CDayReader::TakeAnswers(const std::vector<ipc::MAuthorizeRequest>& answers, size_t& seen,
                             std::vector<std::string>& faults)
{
  for (; seen < answers.size(); ++seen) {
    const std::string& id = answers[seen].request_id();
    if (id.empty()) continue;
    const auto number = static_cast<size_t>(std::stoul(id.substr(kRequest.size())));
    if (mDrivers.at(number).isAnswered) faults.push_back(fmt::format("driver {} was answered twice", number));
    mDrivers.at(number).isAnswered = true;
  }
}

size_t CDayReader::CountDrivers() const
{
  CLock lock(mMutex);
  return mDrivers.size();
}

size_t CDayReader::CountAnswered() const
{
  CLock lock(mMutex);
  const auto isAnswered = [](const SDriver& driver) { return driver.isAnswered; };
  return static_cast<size_t>(std::count_if(mDrivers.begin(), mDrivers.end(), isAnswered));
}
