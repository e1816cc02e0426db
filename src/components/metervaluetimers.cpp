#include "src/components/metervaluetimers.h"

#include <algorithm>
#include <utility>

#include "platform/commutil/communicationexception.h"
#include "platform/iclogger/log.h"
#include "src/components/boundedwait.h"
#include "src/components/energyunits.h"
#include "src/components/ibackoffice.h"
#include "src/components/iocpp.h"
#include "src/components/iocppconfigmanager.h"
#include "src/components/isampledvalueshandler.h"
#include "src/components/isystemaccessinterface.h"

namespace {

constexpr std::chrono::hours kDay{24};
constexpr int64_t kSampleClock = 3;  // reading context "Sample.Clock"

}  // namespace

std::chrono::nanoseconds ClockAlignedDelay(std::chrono::nanoseconds sinceMidnight, std::chrono::seconds interval)
{
  const auto left = kDay - sinceMidnight;
  return left >= interval ? interval - sinceMidnight % interval : left;
}

CMeterValueTimers::CMeterValueTimers(IOcpp& ocpp, ISystemAccessInterface& systemAccess, std::shared_ptr<CWorker> worker)
    : mOcpp(ocpp),
      mSystemAccess(systemAccess),
      mWorker(std::move(worker)),
      mSessions(systemAccess.GetNumberOfConnectors())
{}

CMeterValueTimers::~CMeterValueTimers()
{
  for (const auto& session : mSessions) {
    if (session.timer) session.timer->Cancel(true);
  }
  mClockAlignedTimer.CancelAndWait();
}

bool CMeterValueTimers::IsConnector(uint32_t connector) const
{
  return connector >= 1 && connector <= mSessions.size();
}

// Reads the meter and makes its register the baseline of the interval energy. False when the meter cannot be reached.
bool CMeterValueTimers::ReadBaseline(uint32_t connector, bool isClockAligned)
{
  const auto handler = mSystemAccess.GetSampledValuesHandler(connector);
  if (handler == nullptr) {
    LOG_ERROR("No handler for meter values of connector {}, no MeterValue is scheduled", connector);
    return false;
  }
  try {
    const int64_t registerWh = handler->GetMeterData().energy_register() / kMilliWhPerWh;
    if (isClockAligned) {
      handler->UpdateClockAlignedBaseline(registerWh);
    } else {
      handler->UpdateSampleIntervalBaseline(registerWh);
    }
    return true;
  } catch (const Rpc::CommunicationException& error) {
    LOG_ERROR("Cannot communicate with Meter, no MeterValue is scheduled, error: {}", error.what());
    return false;
  }
}

void CMeterValueTimers::ScheduleSession(uint32_t connector)
{
  if (mOcpp.GetPrimaryBackofficeId() == EBackofficeId::ENone || !IsConnector(connector)) return;
  if (!ReadBaseline(connector, false)) return;
  const auto interval =
      BoundedWait(std::chrono::seconds(mSystemAccess.GetOcppConfigManager()->ReadInt("MeterValueSampleInterval")));
  mWorker->NonBlockingCall([this, connector, interval] {
    auto& session = mSessions[connector - 1];
    session.active = true;
    session.lastSample = mWorker->GetClock().SteadyNow();
    StartSamples(connector, session.lastSample, interval);
  });
}

void CMeterValueTimers::CancelSession(uint32_t connector)
{
  if (!IsConnector(connector)) return;
  // Waits for a sample that is being taken: it must not come behind the end of its session.
  mWorker->BlockingCall([this, connector] {
    auto& session = mSessions[connector - 1];
    session.active = false;
    StartSamples(connector, {}, std::chrono::seconds(0));
  });
}

void CMeterValueTimers::ChangeSampleInterval(std::chrono::seconds interval)
{
  mWorker->NonBlockingCall([this, interval = BoundedWait(interval)] {
    const auto now = mWorker->GetClock().SteadyNow();
    for (uint32_t connector = 1; connector <= mSessions.size(); ++connector) {
      const auto& session = mSessions[connector - 1];
      if (session.active) StartSamples(connector, std::max(now, session.lastSample + interval), interval);
    }
  });
}

// On the worker. An interval of 0 leaves the connector without a timer.
void CMeterValueTimers::StartSamples(uint32_t connector, IClock::SteadyTime first, std::chrono::seconds interval)
{
  auto& session = mSessions[connector - 1];
  if (session.timer) session.timer->Cancel(false);
  session.timer.reset();
  if (interval.count() <= 0) return;
  session.timer = mWorker->AddCall([this, connector] { TakeSample(connector); }, first, interval);
}

void CMeterValueTimers::TakeSample(uint32_t connector)
{
  mOcpp.PushOutCall(EOutOpType::EMeterValues, {mOcpp.GetPrimaryBackofficeId()}, false,
                    {{EOperationParameter::EConnectorId, int64_t{connector}}});
  mSessions[connector - 1].lastSample = mWorker->GetClock().SteadyNow();
}

void CMeterValueTimers::StartClockAligned(EBackofficeId id)
{
  if (id != mOcpp.GetPrimaryBackofficeId() || id == EBackofficeId::ENone) return;
  mClockAlignedTimer.Cancel();
  const auto backoffice = mOcpp.GetBackoffice(id);
  if (!backoffice || backoffice->GetOcppStatus() != EOcppStatus::EAccepted) {
    LOG_DEBUG("Not scheduling OCPP clock-aligned MeterValue because the charge point has not yet been accepted.");
    return;
  }
  const int64_t interval = mSystemAccess.GetOcppConfigManager()->ReadInt("ClockAlignedDataInterval");
  mClockAlignedInterval = BoundedWait(std::chrono::seconds(interval)).count();
  LOG_INFO("ClockAligned MeterValue interval is configured as {} seconds", interval);
  if (mClockAlignedInterval <= 0) {
    LOG_INFO("ClockAlignedDataInterval is 0, clock aligned meter value is not scheduled.");
    return;
  }
  if (!ReadBaseline(1, true)) return;
  ScheduleNextClockAligned(mWorker->GetClock().SystemNow(), true);
}

void CMeterValueTimers::ScheduleNextClockAligned(IClock::SystemTime from, bool isFirst)
{
  const auto interval = GetClockAlignedInterval();
  // Turned off by a new acceptance while a reading was being taken.
  if (interval.count() <= 0) return;
  auto& clock = mWorker->GetClock();
  auto sinceMidnight = from.time_since_epoch() % kDay;
  if (sinceMidnight.count() < 0) sinceMidnight += kDay;
  const auto delay = ClockAlignedDelay(sinceMidnight, interval);
  if (isFirst) {
    LOG_INFO("First clock-aligned meter value will be sent in {} seconds",
             std::chrono::ceil<std::chrono::seconds>(delay).count());
  }
  const auto scheduled = from + delay;
  const auto due = clock.SteadyNow() + (scheduled - clock.SystemNow());
  mClockAlignedTimer.Replace(
      mWorker->AddCall([this, scheduled] { TakeClockAligned(scheduled); }, due, std::chrono::nanoseconds(0)));
}

void CMeterValueTimers::TakeClockAligned(IClock::SystemTime scheduled)
{
  for (uint32_t connector = 1; connector <= mSessions.size(); ++connector) {
    mOcpp.PushOutCall(EOutOpType::EMeterValues, {mOcpp.GetPrimaryBackofficeId()}, false,
                      {{EOperationParameter::EReadingContext, kSampleClock},
                       {EOperationParameter::EConnectorId, int64_t{connector}}});
  }
  // The two clocks may differ by a little: a pass that came just before its boundary must not be repeated on it.
  const auto now = mWorker->GetClock().SystemNow();
  const bool isEarly = now < scheduled && scheduled - now < std::chrono::seconds(1);
  ScheduleNextClockAligned(isEarly ? scheduled : now, false);
}
