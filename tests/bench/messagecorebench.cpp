// What the message core costs: cutting frames, an out-call on its way to its answer, a message in the store.

#include <benchmark/benchmark.h>
#include <unistd.h>

#include <filesystem>
#include <nlohmann/json.hpp>
#include <thread>

#include "platform/clock/realclock.h"
#include "platform/icconfig/icconfig.h"
#include "platform/iclogger/log.h"
#include "src/components/messagehandler.h"
#include "src/components/operation/ocpp_common/erroroperation.h"
#include "src/components/operation/ocpp_common/ioperationfactory.h"
#include "src/components/operation/ocpp_common/operationhandler.h"
#include "src/components/operation/ocpp_common/operationqueuemanager.h"
#include "src/components/persistentmessagestoragemanager.h"
#include "tests/unit/support/fakediagnosticsclient.h"
#include "tests/unit/support/fakemessagestorage.h"
#include "tests/unit/support/fakeoperations.h"

namespace {

// A CALL of about `size` bytes, as a central system sends it.
std::string Frame(size_t size)
{
  std::string profile;
  for (int i = 0; profile.size() < size; ++i) {
    profile += (i == 0 ? "" : ",") + std::string(R"({"startPeriod":)") + std::to_string(i * 60) + R"(,"limit":16.0})";
  }
  return R"([2,"4f1c8f52-5f6e-4e0d-8d6f-3f2b1c0a9d8e","SetChargingProfile",{"connectorId":1,"periods":[)" + profile +
         "]}]";
}

void ParseByMessageHandler(benchmark::State& state)
{
  const std::string frame = Frame(static_cast<size_t>(state.range(0)));
  CMessageHandler handler;
  handler.SetInCallCB([](const std::string& id, const std::string& action, const std::string& payload) {
    benchmark::DoNotOptimize(id.data());
    benchmark::DoNotOptimize(action.data());
    benchmark::DoNotOptimize(payload.data());
  });
  for (auto _ : state) handler.ParseMessage(frame);
  state.SetItemsProcessed(state.iterations());
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(frame.size()));
}
BENCHMARK(ParseByMessageHandler)->Arg(100)->Arg(2000)->Arg(100000);

// Baseline: the whole frame through the JSON library.
void ParseByJsonLibrary(benchmark::State& state)
{
  const std::string frame = Frame(static_cast<size_t>(state.range(0)));
  for (auto _ : state) benchmark::DoNotOptimize(nlohmann::json::parse(frame));
  state.SetItemsProcessed(state.iterations());
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(frame.size()));
}
BENCHMARK(ParseByJsonLibrary)->Arg(100)->Arg(2000)->Arg(100000);

class CNoFactory : public IOperationFactory {
 public:
  std::shared_ptr<COutCallOperationBase> CreateOutOperation(EOutOpType) override { return nullptr; }
  std::shared_ptr<COutCallOperationBase> CreateOutOperation(const SMessage&) override { return nullptr; }
  std::shared_ptr<CInCallOperationBase> CreateInOperation(const std::string&, EInOpType, EBackofficeId) override
  {
    return nullptr;
  }
  std::shared_ptr<CErrorOperation> CreateErrorResponse(const std::string& id, EInCallError error) override
  {
    return std::make_shared<CErrorOperation>(id, CInCallError(error));
  }
  bool IsInfoLogLevel(EInOpType) const override { return true; }
};

// A place where one thread leaves a text for another.
class CMailbox {
 public:
  explicit CMailbox(IClock& clock) : mClock(clock) {}

  void Put(std::string text)
  {
    CLock lock(mMutex);
    mText = std::move(text);
    mIsFull = true;
    mClock.NotifyAll(mChanged);
  }

  // An empty text ends the conversation.
  std::string Take()
  {
    CLock lock(mMutex);
    while (!mIsFull) mClock.Wait(lock, mChanged);
    mIsFull = false;
    return std::move(mText);
  }

 private:
  IClock& mClock;
  CMutex mMutex;
  CCondition mChanged;
  std::string mText GUARDED_BY(mMutex);
  bool mIsFull GUARDED_BY(mMutex) = false;
};

// From push to the reaction on the answer: pusher, sender thread and receive thread take part.
void OutCallToAnswer(benchmark::State& state)
{
  CRealClock clock;
  CFakeMessageStorage storage;
  CFakeDiagnosticsClient diagnostics;
  const auto queue = std::make_shared<COperationQueueManager>(storage, diagnostics, true);
  COperationHandler handler(clock, std::make_shared<CNoFactory>(), queue, &diagnostics, {});
  CMailbox link(clock);
  CMailbox done(clock);
  SMsgConfig config;
  config.messageTimeout = std::chrono::seconds(30);
  handler.SetMsgConfig(config);
  handler.SetIsBackofficeOnlineCB([] { return true; });
  handler.SetGetOcppStatusCB([] { return EOcppStatus::EAccepted; });
  handler.SetResetSendTimeoutCB([] {});
  handler.SetSendCB([&](const std::string& frame) {
    link.Put(frame.substr(4, frame.find('"', 4) - 4));
    return true;
  });
  std::thread sender([&] { handler.RunExecutor(); });
  std::thread receiver([&] {
    for (std::string id = link.Take(); !id.empty(); id = link.Take()) {
      handler.HandleInResult(id, "{}", EBackofficeId::EPrimary);
    }
  });
  const bool isTransaction = state.range(0) != 0;
  uint64_t number = 0;
  for (auto _ : state) {
    const std::string id = std::to_string(++number);
    auto operation = isTransaction ? FakeOutCalls::MeterValues(id) : FakeOutCalls::Heartbeat(id);
    operation->OnResponse([&](const std::string&) { done.Put("done"); });
    handler.PushOutCallOperation(operation);
    done.Take();
  }
  state.SetItemsProcessed(state.iterations());
  handler.StopExecutor();
  sender.join();
  link.Put("");
  receiver.join();
}
BENCHMARK(OutCallToAnswer)->ArgName("transaction")->Arg(0)->Arg(1)->UseRealTime();

// Baseline: the same three threads hand a text on, and do nothing else.
void ThreeThreadsHandOn(benchmark::State& state)
{
  CRealClock clock;
  CMailbox first(clock);
  CMailbox second(clock);
  CMailbox done(clock);
  std::thread sender([&] {
    for (std::string text = first.Take(); !text.empty(); text = first.Take()) second.Put(text);
    second.Put("");
  });
  std::thread receiver([&] {
    for (std::string text = second.Take(); !text.empty(); text = second.Take()) done.Put(text);
  });
  for (auto _ : state) {
    first.Put("text");
    done.Take();
  }
  state.SetItemsProcessed(state.iterations());
  first.Put("");
  sender.join();
  receiver.join();
}
BENCHMARK(ThreeThreadsHandOn)->UseRealTime();

// A folder of its own for the stores, gone at the end.
class CScratchFolder {
 public:
  CScratchFolder() : mPath(std::filesystem::current_path() / ("benchstore-" + std::to_string(getpid())))
  {
    std::filesystem::create_directories(mPath / "defaults");
    IcConfig::SPaths paths;
    paths.dataDirectory = (mPath / "data").string() + "/";
    paths.defaultsDirectory = (mPath / "defaults").string() + "/";
    IcConfig::SetPaths(paths);
  }
  ~CScratchFolder() { std::filesystem::remove_all(mPath); }
  CScratchFolder(const CScratchFolder&) = delete;
  CScratchFolder& operator=(const CScratchFolder&) = delete;

 private:
  const std::filesystem::path mPath;
};

// A message store on the real configuration domain, with `count` messages in it.
std::unique_ptr<CPersistentMessageStorageManager> OpenStore(int64_t count)
{
  static const CScratchFolder folder;
  static int number = 0;
  const auto config = IcConfig::Create("messages" + std::to_string(++number), {}, {});
  std::vector<std::pair<std::string, Json::Value>> records;
  for (int64_t i = 0; i < count; ++i) {
    Json::Value record(Json::objectValue);
    record["QueuedCounter"] = Json::Int64(i);
    record["OperationType"] = "StopTransaction";
    record["Payload"] = R"({"transactionId":1,"meterStop":1000,"timestamp":"2026-01-15T10:15:00Z"})";
    records.emplace_back("stored-" + std::to_string(i), record);
  }
  if (!config->Apply({}, records)) return nullptr;
  return std::make_unique<CPersistentMessageStorageManager>(config, 2000000000u);
}

// The argument is the number of messages that are stored already; 0 is the baseline.
void StoreAndClear(benchmark::State& state)
{
  const auto store = OpenStore(state.range(0));
  if (!store) {
    state.SkipWithError("the store cannot be written");
    return;
  }
  // Kept throughout, so that no iteration finds the store empty.
  store->Store(*FakeOutCalls::StartTransaction("kept"));
  for (auto _ : state) {
    const auto stop = FakeOutCalls::StopTransaction("message");
    if (store->Store(*stop) != IPersistentMessageStorageManager::EStoreResult::EStored ||
        store->Clear("message") != IPersistentMessageStorageManager::EClearResult::ECleared) {
      state.SkipWithError("the message could not be stored and cleared");
      return;
    }
    benchmark::DoNotOptimize(store->GetNumStoredMessages());
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(StoreAndClear)->Arg(0)->Arg(20000)->UseRealTime();

}  // namespace
