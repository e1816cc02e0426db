// The benchmarks that are programs of their own.
import { execFileSync } from 'node:child_process';
import fs from 'node:fs';
import path from 'node:path';
import { REPOSITORY } from '../../simulator/lib/packages.js';
import { atMost, below, megabytes, microseconds, milliseconds, perSecond } from './table.js';

export const FOLDER = path.join(REPOSITORY, 'build/bench');
const PROGRAMS = path.join(REPOSITORY, 'build/release/tests/bench');
const REPETITIONS = 5;
const MICROSECONDS = { ns: 1e-3, us: 1, ms: 1e3, s: 1e6 };

export const program = (name) => path.join(PROGRAMS, name);

/**
 * Runs a Google Benchmark program, its benchmarks interleaved, so that a machine that is busy for a while troubles all of
 * them. Returns the medians by name: {time in µs, rate}. Its files lie where those of the stations do.
 */
function runBenchmarks(name, filter = '.') {
  const file = path.join(FOLDER, `${name}.json`);
  execFileSync(
    program(name),
    [
      `--benchmark_out=${file}`,
      '--benchmark_out_format=json',
      `--benchmark_filter=${filter}`,
      `--benchmark_repetitions=${REPETITIONS}`,
      '--benchmark_enable_random_interleaving=true',
    ],
    { cwd: FOLDER, stdio: ['ignore', 'ignore', 'ignore'], env: { ...process.env, TMPDIR: FOLDER } },
  );
  const results = new Map();
  for (const entry of JSON.parse(fs.readFileSync(file, 'utf8')).benchmarks) {
    if (entry.error_occurred) throw new Error(`${entry.run_name}: ${entry.error_message}`);
    if (entry.aggregate_name !== 'median') continue;
    const time = entry.real_time * MICROSECONDS[entry.time_unit];
    results.set(entry.run_name, { time, rate: entry.items_per_second });
  }
  return (benchmark) => {
    if (!results.has(benchmark)) throw new Error(`${name} has no benchmark ${benchmark}`);
    return results.get(benchmark);
  };
}

export function measureMessageCore(table) {
  const result = runBenchmarks('bench_messagecore');
  for (const bytes of [100, 2000, 100000]) {
    const [own, library] = [result(`ParseByMessageHandler/${bytes}`), result(`ParseByJsonLibrary/${bytes}`)];
    const what = `frames of ${bytes} bytes cut / parsed whole by the JSON library`;
    table.add(what, own.rate, library.rate, perSecond);
  }
  const handOver = result('ThreeThreadsHandOn/real_time');
  for (const [kind, name] of ['a request', 'a transaction message'].entries()) {
    const call = result(`OutCallToAnswer/transaction:${kind}/real_time`);
    const what = `out-call to answer, ${name} / three threads hand a text on`;
    table.add(what, call.time, handOver.time, microseconds);
  }
  const [empty, full] = [result('StoreAndClear/0/real_time'), result('StoreAndClear/20000/real_time')];
  const what = 'store and clear a message with 20,000 stored / with none';
  table.add(what, full.time, empty.time, microseconds, atMost(1.5));
}

/** What the medium takes to make a page durable, in µs. */
export function measureFsync() {
  return runBenchmarks('bench_icconfig', 'BM_FsyncOfAPage')('BM_FsyncOfAPage/real_time').time;
}

export function measureMeterValues(table) {
  const result = runBenchmarks('bench_station');
  const [own, bare] = [result('MeterValuesTimerToFrame/manual_time'), result('TimerHandsTextOn/manual_time')];
  const what = 'MeterValues, timer to frame / a timer hands a text to a thread';
  table.add(what, own.time, bare.time, microseconds);
}

export function measureLists(table) {
  const result = runBenchmarks('bench_authorizationlist');
  const [long, none] = [result('LoadList/1000/real_time'), result('LoadList/0/real_time')];
  const aim = below(100, milliseconds);
  table.add('load a local list of 1,000 tags / of none', long.time / 1000, none.time / 1000, milliseconds, aim);
  const [atMaximum, atTen] = [result('LookUp/1000'), result('LookUp/10')];
  table.add('look two tags up among 1,000 / among 10', atMaximum.time, atTen.time, microseconds, atMost(1.5));
  const [write, bare] = [
    result('UpdateAndWriteCache/250/real_time'),
    result('ReplaceFileOfTheSameLength/250/real_time'),
  ];
  table.add('update the full cache and write it / replace such a file', write.time, bare.time, microseconds);
}

export function measureSessionMemory(table) {
  // Without the allocator's caches of freed blocks, which fill up for a while.
  const env = { ...process.env, GLIBC_TUNABLES: 'glibc.malloc.tcache_count=0' };
  const options = { cwd: FOLDER, stdio: ['ignore', 'pipe', 'inherit'], env };
  const result = JSON.parse(execFileSync(program('bench_sessionmemory'), options).toString());
  const sessions = result.sessions.toLocaleString('en');
  const heap = `heap in use after ${sessions} sessions`;
  // After ten the list of former sessions still grows, to its sixteen.
  table.add(`${heap} / after 10`, result.heapLast, result.heapFirst, megabytes, atMost(1.02));
  table.add(`${heap} / after 20`, result.heapLast, result.heapFilled, megabytes, atMost(1.001));
  const resident = `resident memory after ${sessions} sessions / after 10`;
  table.add(resident, result.residentLast, result.residentFirst, megabytes, atMost(1.01));
}
