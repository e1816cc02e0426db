#include "tests/unit/src/components/ocppcomponent/day/daystation.h"

#include <json/reader.h>

#include <fstream>
#include <utility>

#include "platform/diagnostics/diagnosticscommclient.h"
#include "src/components/hostinfo.h"
#include "src/components/systemaccessinterface.h"

using namespace std::chrono_literals;

namespace {

constexpr const char* kMessages = "secc_persistentmessages";
constexpr const char* kPrimaryUri = "cpo.example/ocpp";
constexpr uint32_t kAttempts = 3;
constexpr uint64_t kNever = UINT64_MAX / 2;  // writes

CSimulatedClock::SOptions ClockOptions(const CDayStation::SOptions& options)
{
  CSimulatedClock::SOptions clock;
  clock.threads = options.threads;
  clock.turnSeed = options.seed;
  return clock;
}

const CFakeConfig::CState& DefaultsOf(const std::string& domain)
{
  static std::map<std::string, CFakeConfig::CState> known;
  const auto found = known.find(domain);
  if (found != known.end()) return found->second;
  auto& defaults = known[domain];
  std::ifstream file(SECC_SOURCE_ROOT "/data/config/" + (domain == "ocppmeta" ? "ocpp_meta" : domain) + ".json");
  Json::Value root;
  if (file) file >> root;
  for (const auto& key : root.getMemberNames()) defaults[key] = root[key];
  return defaults;
}

// A store that may look fuller than it is.
class CInflatedConfig : public CFakeConfig {
 public:
  CInflatedConfig(SOptions options, std::shared_ptr<std::atomic<uint64_t>> inflation)
      : CFakeConfig(std::move(options)), mInflation(std::move(inflation))
  {}
  // An empty store is never full.
  uint64_t GetUsedBytes() const override
  {
    const uint64_t used = CFakeConfig::GetUsedBytes();
    return used == 0 ? 0 : used + mInflation->load();
  }

 private:
  const std::shared_ptr<std::atomic<uint64_t>> mInflation;
};

}  // namespace

CDayStation::CDayStation(const SOptions& options)
    : mClock(ClockOptions(options)),
      mBook(kAttempts),
      mCentral(std::make_shared<CDayCentral>(&mBook, options.seed * 4 + 1)),
      mHub(std::make_shared<CDayCentral>(nullptr, options.seed * 4 + 2)),
      mSessions(std::make_unique<CDaySessions>(mClock, mCentral, options.seed * 4 + 3)),
      mReader(std::make_unique<CDayReader>(mClock, mSessions->GetManager(), options.seed * 4)),
      mLinkSeed(options.seed * 1000)
{
  Preset(options);
}

CDayStation::~CDayStation() { PowerOff(); }

void CDayStation::Preset(const SOptions& options)
{
  auto& settings = mStored["settings"];
  settings["SeccOcppUri"] = kPrimaryUri;
  settings["SeccOcppActive"] = true;
  settings["AllowChargeWithoutValidTime"] = true;
  if (options.hasAuxiliary) settings["SboEnabled"] = "Enabled";
  mStored["hwinfo"]["CustomerId"] = "STATION";
  auto& ocpp = mStored["ocpp"];
  ocpp["ChargeBeforeAcceptedPolicy"] = options.chargeBeforeAcceptedPolicy;
  ocpp["MeterValueSampleInterval"] = static_cast<Json::Int64>(options.sampleIntervalS);
  ocpp["ClockAlignedDataInterval"] = static_cast<Json::Int64>(options.clockAlignedIntervalS);
  ocpp["MeterValuePersistentStorageEnable"] = options.storesMeterValues;
  ocpp["LocalPreAuthorize"] = options.preAuthorizes;
  ocpp["LocalAuthorizeOffline"] = options.asksStoresOffline;
  ocpp["AllowOfflineTxForUnknownId"] = options.allowsUnknownTagsOffline;
}

std::shared_ptr<CFakeConfig> CDayStation::Config(const std::string& domain)
{
  auto& config = mConfigs[domain];
  if (config) return config;
  CFakeConfig::SOptions options;
  options.defaults = DefaultsOf(domain);
  options.stored = mStored[domain];
  if (mLife) options.medium = mLife->power->medium;
  config = domain == kMessages ? std::make_shared<CInflatedConfig>(std::move(options), mInflation)
                               : std::make_shared<CFakeConfig>(std::move(options));
  return config;
}

SIpcClients CDayStation::GetClients() const
{
  SIpcClients clients;
  clients.basicCharge = std::make_shared<CFakeBasicCharge2>();
  clients.boardControl = std::make_shared<CFakeBoardControl>();
  clients.currentControl = mCurrentControl;
  clients.diagnostics = mDiagnostics;
  clients.feedback = std::make_shared<CFakeFeedback>();
  clients.meter = mSessions->GetMeter();
  clients.safetyMcuComm = std::make_shared<CFakeSafetyMcuComm>();
  clients.sessionManagerAuth = mReader->GetClient();
  clients.sessionManager = mSessions->GetManager();
  return clients;
}

SOcppEnvironment CDayStation::GetEnvironment()
{
  SOcppEnvironment environment;
  environment.openConfig = [this](const std::string& domain, const IcConfig::CErrorCallback&,
                                  const IcConfig::CChangeCallback&) { return Config(domain); };
  environment.openReadOnlyConfig = [this](const std::string& domain, const IcConfig::CErrorCallback&) {
    return Config(domain);
  };
  environment.createLink = [this](const SHostSettings& settings, const std::shared_ptr<IDiagnosticsClientHandler>&) {
    return CreateLink(settings);
  };
  environment.resolveHost = [](const std::string&, bool) { return true; };
  environment.ntpStatusPath = "/nonexistent/ntp_status";
  return environment;
}

std::shared_ptr<CDayLink> CDayStation::CreateLink(const SHostSettings& settings)
{
  CDayLink::SParts parts;
  parts.hostInfo = std::make_shared<CHostInfo>(settings, CHostInfo::CMdnsQuery());
  parts.central = settings.uri == kPrimaryUri ? mCentral : mHub;
  parts.network = mNetwork;
  parts.log = mLog;
  parts.isPowerCut = [power = mLife->power] { return power->IsCut(); };
  parts.isKept = [messages = Config(kMessages)](const std::string& id) {
    return messages->GetSurvivingState().count(id) > 0;
  };
  parts.seed = ++mLinkSeed;
  auto link = std::make_shared<CDayLink>(mClock, parts);
  mLife->links.push_back(link);
  return link;
}

void CDayStation::PowerOn()
{
  mLife = std::make_unique<SLife>();
  mLife->power = std::make_shared<SPower>();
  mCentral->WithBook([](CAccountBook& book) { book.Restart(); });
  CDiagnosticsCommClient::Initialize(mDiagnostics, mClock);
  COcppComponent::SArguments arguments;
  arguments.ipcCallbackLayer = std::make_shared<CIpcCallbackLayer>(GetClients());
  arguments.systemAccess = std::make_shared<CSystemAccessInterface>();
  mLife->component = std::make_unique<COcppComponent>(mClock, arguments, GetEnvironment());
  mLife->component->Enable();
  mIsEnabled = true;
  mSessions->Listen(true);
}

void CDayStation::PowerOff()
{
  if (!mLife) return;
  if (!mLife->IsPowerCut()) mLife->power->medium->CutPowerAfterWrite(0);
  mLife->power->lastWrite = 0;
  mSessions->Silence();
  mIsEnabled = false;
  mLife->component.reset();
  HearDrivers();
  mReader->Excuse();
  CDiagnosticsCommClient::Terminate();
  for (const auto& [domain, config] : mConfigs) mStored[domain] = config->GetSurvivingState();
  mConfigs.clear();
  mLife.reset();
}

void CDayStation::CutPowerAfter(uint64_t writes, ECut cut)
{
  auto& power = *mLife->power;
  // The other threads may just be coming to the write that the first one is behind.
  if (std::exchange(power.isCutDue, true)) return;
  power.medium->CutPowerAfterWrite(writes);
  power.lastWrite = cut == ECut::EBehindWrite ? power.medium->GetWriteCount() + writes : UINT64_MAX;
}

void CDayStation::SparePower()
{
  mLife->power->medium->CutPowerAfterWrite(kNever);
  mLife->power->lastWrite = UINT64_MAX;
}

void CDayStation::Enable()
{
  if (mIsEnabled) return;
  mLife->component->Enable();
  mIsEnabled = true;
  mSessions->Listen(false);
}

void CDayStation::Disable()
{
  if (!mIsEnabled) return;
  mSessions->Silence();
  mLife->component->Disable();
  mIsEnabled = false;
  mReader->Excuse();
}

void CDayStation::Pass(std::chrono::nanoseconds duration)
{
  mClock.RunUntil([this] { return IsPowerCut(); }, duration);
}

void CDayStation::BreakLinks()
{
  if (!mLife) return;
  for (const auto& link : mLife->links) link->Break();
}

void CDayStation::PlayMessage(const std::string& text)
{
  if (mLife && !mLife->links.empty()) mLife->links.front()->PlayMessage(text);
}

void CDayStation::PresentTag()
{
  mSessions->Notify([this] { mReader->Present(); });
}

void CDayStation::HearDrivers()
{
  for (const auto& fault : mReader->Look()) {
    mCentral->WithBook([&](CAccountBook& book) { book.AddFault(fault); });
  }
}

std::optional<bool> CDayStation::IsStorageFullSignal() const
{
  const auto signals = mDiagnostics->SentSignals(static_cast<ipc::ESignalIdentifier>(10001));
  if (signals.empty()) return std::nullopt;
  return signals.back().bool_values(0);
}

bool CDayStation::IsSettled() { return !mSessions->IsRunning() && CountStored() == 0; }

CAccountBook::SEnd CDayStation::Settle()
{
  mClock.WaitIdle();
  if (IsPowerCut()) PowerOff();
  if (IsOn()) SparePower();
  mNetwork->state = CDayNetwork::EState::EUp;
  mCentral->SetMood(CDayCentral::kKind);
  mHub->SetMood(CDayCentral::kKind);
  Inflate(0);
  mSessions->GetManager()->SetReachable();
  mSessions->GetMeter()->SetReachable();
  mDiagnostics->SetReachable();
  mCurrentControl->SetReachable();
  if (!IsOn()) PowerOn();
  Enable();
  mClock.AdvanceBy(1min);
  // A boot that was not understood is made again by a new connection only.
  BreakLinks();
  mClock.AdvanceBy(30min);
  mSessions->End(ipc::EStopSessionReasonLocal);
  mSessions->Unplug();
  mSessions->Announce();
  mClock.AdvanceBy(1min);
  mClock.RunUntil([this] { return IsSettled(); }, 6h);
  mClock.AdvanceBy(10min);

  CAccountBook::SEnd end;
  end.connectorStatus = "Available";
  end.storedMessages = CountStored();
  end.isStorageAvailable = mSessions->IsStorageAvailable();
  end.isStorageFullSignal = IsStorageFullSignal().value_or(false);
  return end;
}

std::vector<std::string> CDayStation::Audit()
{
  const auto end = Settle();
  HearDrivers();
  return mBook.Audit(end);
}
