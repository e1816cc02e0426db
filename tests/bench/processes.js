// The benchmarks of the whole process, over real TLS, beside a bare echo on the same websocket stack. Both run in a mount
// namespace of their own, as on a station: the log goes to a daemon, and not to the console.
import { execFileSync, spawn } from 'node:child_process';
import { once } from 'node:events';
import fs from 'node:fs';
import path from 'node:path';
import { REPOSITORY } from '../../simulator/lib/packages.js';
import { StationRoot } from '../../simulator/lib/stationroot.js';
import { pause } from '../../simulator/lib/waiting.js';
import { Peer } from './peer.js';
import { FOLDER, measureFsync, program } from './programs.js';
import { atLeast, atMost, megabytes, microseconds, milliseconds, perSecond, quantile } from './table.js';

const STARTS = 5;
// Long enough for what follows the registration to be over.
const SETTLE_MS = 3000;
const WARM_UP_TRIPS = 500;
// Echo and process take turns, so that a machine that is busy for a while troubles both.
const TURNS = 40;
const TRIPS_OF_TURN = 100;
const CALL = 'GetLocalListVersion';
const DRAINS = 3;
// On loopback, and over a link on which an answer is under way for as long as over a good wired line.
const LOOPBACK = { latencyMs: 0, stored: 5000, trips: TURNS * TRIPS_OF_TURN, name: 'over TLS' };
const WIRED = { latencyMs: 10, stored: 1000, trips: 200, name: 'over TLS and 10 ms of line' };
const DRAIN_MS = 120000;
const TRANSACTION_ACTIONS = ['StartTransaction', 'MeterValues', 'StopTransaction'];

let stations = 0;

function makeRoot(peer, settings = {}) {
  stations += 1;
  const folder = path.join(FOLDER, `station-${stations}`);
  return new StationRoot(folder, { trust: [peer.caFile], settings });
}

/** Starts a program that says a line when it is ready. */
async function startHelper(command, args) {
  const running = spawn(command, args, { stdio: ['ignore', 'pipe', 'inherit'] });
  const failed = new Promise((_, reject) => {
    running.once('error', reject);
    running.once('exit', (status) => reject(new Error(`${command} ended with ${status}`)));
  });
  failed.catch(() => {});
  await Promise.race([once(running.stdout, 'data'), failed]);
  running.stdout.resume();
  return { stop: () => running.kill('SIGKILL') };
}

/** In the place of the station's log daemon, whose socket it is. */
async function startSyslog(root) {
  const socket = root.path('syslog');
  const helper = await startHelper(program('bench_syslogsink'), [socket]);
  return { ...helper, mounts: ['--bind', socket, '/dev/log'] };
}

/**
 * The siblings, in a process of their own and behind everybody else: those of a station are small, and what they cost is
 * not to be measured.
 */
function startSiblings(root) {
  const main = path.join(REPOSITORY, 'simulator/station/main.js');
  return startHelper('nice', ['-n', '19', process.execPath, main, '--root', root.folder, '--http', '0']);
}

const startPeer = (latencyMs) => new Peer(path.join(FOLDER, 'csms'), latencyMs).start();

/** Fails when the program ends before what is waited for has come. */
async function whileRunning(running, waited) {
  const ended = running.exited.then((outcome) => {
    throw new Error(`${running.logFile}: ended with ${JSON.stringify(outcome)}`);
  });
  // Of no interest any more when the wait is over.
  ended.catch(() => {});
  return Promise.race([waited, ended]);
}

/** The bare echo, connected. */
async function startEcho(latencyMs = 0) {
  const peer = await startPeer(latencyMs);
  const root = makeRoot(peer);
  const startedAt = performance.now();
  const running = root.startSecc({
    program: program('bench_tlsecho'),
    args: [`wss://${peer.uri}`, `/data/ssl/certs/${path.basename(peer.caFile)}`],
    log: root.path('echo.log'),
  });
  const stop = async () => {
    await running.kill();
    await peer.stop();
  };
  try {
    await whileRunning(
      running,
      peer.waitFor(() => peer.socket, { what: 'the echo to connect' }),
    );
  } catch (error) {
    await stop();
    throw error;
  }
  return { peer, running, startMs: peer.connectedAt - startedAt, stop };
}

/** The process with its siblings around it, registered. `prepare` is given the station's folder before. */
async function startProcess({ prepare = () => {}, latencyMs = 0 } = {}) {
  const peer = await startPeer(latencyMs);
  const root = makeRoot(peer, {
    settings: { SeccOcppActive: true, SeccOcppUri: peer.uri },
    hwinfo: { CustomerId: 'BENCH-1', ProductSn: 'BENCH-1', HwOneOrThreePhase: 3 },
    fwinfo: { FwIdent: 'bench' },
    secrets: { AuthorizationKey: '62656e63682d62656e63682d' },
  });
  await prepare(root);
  const siblings = await startSiblings(root);
  const syslog = await startSyslog(root);
  const startedAt = performance.now();
  const running = root.startSecc({ args: ['-q', '-r', '/station/'], mounts: syslog.mounts });
  const stop = async () => {
    await running.kill();
    syslog.stop();
    siblings.stop();
    await peer.stop();
  };
  try {
    const registered = () => peer.calls.get('BootNotification');
    const [bootAt] = await whileRunning(running, peer.waitFor(registered, { what: 'BootNotification' }));
    return { peer, running, startMs: bootAt - startedAt, stop };
  } catch (error) {
    await stop();
    throw error;
  }
}

async function using(start, use) {
  const started = await start();
  try {
    return await use(started);
  } finally {
    await started.stop();
  }
}

const residentBytes = ({ running }) => running.residentKb() * 1024;

function nameOf(answer) {
  const frame = JSON.parse(answer);
  return frame[0] === 4 ? `${CALL}, answered ${frame[2]}` : CALL;
}

/** Round trips, and the memory before and after them. */
async function measureTrips(echo, secc, table) {
  const [echoBefore, seccBefore] = [residentBytes(echo), residentBytes(secc)];
  const trips = { echo: [], secc: [] };
  for (const { peer } of [echo, secc]) await peer.roundTrips(CALL, {}, WARM_UP_TRIPS);
  for (let turn = 0; turn < TURNS; turn += 1) {
    trips.echo.push(...(await echo.peer.roundTrips(CALL, {}, TRIPS_OF_TURN)));
    trips.secc.push(...(await secc.peer.roundTrips(CALL, {}, TRIPS_OF_TURN)));
  }
  for (const [name, share, aim] of [
    ['median', 0.5, atMost(1.3)],
    ['99 %', 0.99, null],
  ]) {
    const what = `CALL to answer over TLS (${nameOf(secc.peer.lastAnswer)}), ${name} / bare echo`;
    table.add(what, quantile(trips.secc, share), quantile(trips.echo, share), microseconds, aim);
  }
  table.add('resident memory, registered / bare echo', seccBefore, echoBefore, megabytes);
  const calls = (WARM_UP_TRIPS + TURNS * TRIPS_OF_TURN).toLocaleString('en');
  table.add(`resident memory after ${calls} CALLs / before`, residentBytes(secc), seccBefore, megabytes);
}

export async function measureLink(table) {
  const startMs = { echo: [], secc: [] };
  await using(startEcho, (echo) =>
    using(startProcess, async (secc) => {
      startMs.echo.push(echo.startMs);
      startMs.secc.push(secc.startMs);
      await pause(SETTLE_MS);
      await measureTrips(echo, secc, table);
    }),
  );
  for (let start = 1; start < STARTS; start += 1) {
    startMs.echo.push(await using(startEcho, (echo) => echo.startMs));
    startMs.secc.push(await using(startProcess, (secc) => secc.startMs));
  }
  const what = 'start to BootNotification / start to connection of the bare echo';
  table.add(what, quantile(startMs.secc), quantile(startMs.echo), milliseconds);
}

/** A meter value as it lies in the store, so that the echo carries what the process sends. */
const METER_VALUES = {
  connectorId: 1,
  transactionId: 1,
  meterValue: [
    {
      timestamp: '2026-01-15T10:15:00Z',
      sampledValue: [
        { value: '1000000', context: 'Sample.Periodic', measurand: 'Energy.Active.Import.Register', unit: 'Wh' },
      ],
    },
  ],
};

/** One station that was offline for long comes online: messages per second. */
async function drain({ latencyMs, stored }) {
  const prepare = (root) => execFileSync(program('bench_fillstore'), [`${root.folder}/`, String(stored)]);
  return using(
    () => startProcess({ prepare, latencyMs }),
    async ({ peer, running }) => {
      const times = () => TRANSACTION_ACTIONS.flatMap((action) => peer.calls.get(action) ?? []);
      const count = () => TRANSACTION_ACTIONS.reduce((sum, action) => sum + (peer.calls.get(action)?.length ?? 0), 0);
      const done = () => count() >= stored;
      await whileRunning(running, peer.waitFor(done, { timeoutMs: DRAIN_MS, what: `${stored} messages` }));
      if (new Set(peer.ids).size !== peer.ids.length) throw new Error('a message came twice');
      const sorted = times().sort((one, other) => one - other);
      return ((stored - 1) * 1000) / (sorted[stored - 1] - sorted[0]);
    },
  );
}

async function measureDrainOver(link, table) {
  await using(
    () => startEcho(link.latencyMs),
    async ({ peer }) => {
      const trips = () => peer.roundTrips('MeterValues', METER_VALUES, link.trips);
      await trips();
      const runs = [];
      for (let run = 0; run < DRAINS; run += 1) {
        const times = await trips();
        const fsyncs = [measureFsync()];
        const rate = await drain(link);
        fsyncs.push(measureFsync());
        times.push(...(await trips()));
        const trip = quantile(times);
        const durable = trip + (fsyncs[0] + fsyncs[1]) / 2;
        runs.push({ rate, trip, durable, ratio: (rate * trip) / 1e6 });
      }
      const middle = quantile(runs.map(({ ratio }) => ratio));
      const { rate, trip, durable } = runs.find(({ ratio }) => ratio === middle);
      const what = `${link.stored.toLocaleString('en')} stored messages drained ${link.name}`;
      table.add(`${what} / one bare round trip after the other`, rate, 1e6 / trip, perSecond, atLeast(0.7));
      table.add(`${what} / one bare round trip and one fsync after the other`, rate, 1e6 / durable, perSecond);
    },
  );
}

export async function measureDrain(table) {
  await measureDrainOver(LOOPBACK, table);
  await measureDrainOver(WIRED, table);
}

/** The folders of the stations that were started. */
export function removeStations() {
  for (let number = 1; number <= stations; number += 1)
    fs.rmSync(path.join(FOLDER, `station-${number}`), { recursive: true, force: true });
}
