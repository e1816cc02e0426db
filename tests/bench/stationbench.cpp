// What a reading of the meter costs on its way from its timer to the frame.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <string>
#include <vector>

#include "platform/clock/realclock.h"
#include "platform/worker/worker.h"
#include "tests/bench/benchstation.h"

using namespace std::chrono_literals;

namespace {

constexpr auto kInterval = 60s;

double SecondsBetween(IClock::SteadyTime from, IClock::SteadyTime to)
{
  return std::chrono::duration<double>(to - from).count();
}

// Timer, reading of four quantities on three phases, queue, sender and frame; the clock is simulated, so that the
// interval takes no time. The answer is not a part of it.
void MeterValuesTimerToFrame(benchmark::State& state)
{
  CBenchStation station(
      {{"ocpp",
        {{"MeterValueSampleInterval", Json::Int64(kInterval.count())},
         {"MeterValuesSampledData", "Energy.Active.Import.Register,Current.Import,Voltage,Power.Active.Import"}}}});
  if (!station.Start()) {
    state.SkipWithError("the station did not register");
    return;
  }
  station.StartSession("TAG");
  station.AnswerAll();
  station.GetClock().AdvanceBy(kInterval / 2);
  station.AnswerAll();
  const CRealClock clock;
  size_t frameBytes = 0;
  for (auto _ : state) {
    const auto begin = clock.SteadyNow();
    station.GetClock().AdvanceBy(kInterval);
    const auto end = clock.SteadyNow();
    // A heartbeat may be due at the same time.
    const auto frames = station.GetLink().GetSent();
    const auto frame = std::find_if(frames.begin(), frames.end(), [](const std::string& text) {
      return text.find(R"("MeterValues")") != std::string::npos;
    });
    if (frame == frames.end()) {
      state.SkipWithError("no MeterValues came out");
      return;
    }
    frameBytes = frame->size();
    state.SetIterationTime(SecondsBetween(begin, end));
    station.AnswerAll();
  }
  state.counters["frameBytes"] = static_cast<double>(frameBytes);
}
BENCHMARK(MeterValuesTimerToFrame)->UseManualTime();

// Baseline: a timer of one worker hands a text to another worker, on the same kind of clock, and that is all.
void TimerHandsTextOn(benchmark::State& state)
{
  CSimulatedClock simulated;
  CWorker timer(simulated, "timer");
  CWorker sender(simulated, "sender");
  timer.Start();
  sender.Start();
  std::vector<std::string> sent;
  const auto call =
      timer.AddCall([&] { sender.NonBlockingCall([&sent, text = std::string(1000, 'x')] { sent.push_back(text); }); },
                    simulated.SteadyNow() + kInterval / 2, kInterval);
  const CRealClock clock;
  for (auto _ : state) {
    const auto begin = clock.SteadyNow();
    simulated.AdvanceBy(kInterval);
    const auto end = clock.SteadyNow();
    if (sent.size() != 1) {
      state.SkipWithError("no text came out");
      return;
    }
    state.SetIterationTime(SecondsBetween(begin, end));
    sent.clear();
  }
  call->Cancel(true);
  timer.Stop();
  sender.Stop();
}
BENCHMARK(TimerHandsTextOn)->UseManualTime();

}  // namespace
