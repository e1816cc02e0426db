// A world for one system test: central systems, a station of its own in a namespace, its siblings, and `secc`. It ends
// everything it started by id, checks what must hold in every test, and on failure shows the logs.
import assert from 'node:assert/strict';
import fs from 'node:fs';
import path from 'node:path';
import { describe, it } from 'node:test';
import { CentralSystem } from '../../../simulator/csms/centralsystem.js';
import { REPOSITORY } from '../../../simulator/lib/packages.js';
import { StationRoot } from '../../../simulator/lib/stationroot.js';
import { pause } from '../../../simulator/lib/waiting.js';
import { Station } from '../../../simulator/station/station.js';

export { assert, pause };

export const ID = 'CP-1';
export const PASSWORD = '00ff736563726574';
/** How long a clean stop may take: some hundred milliseconds, and the rest is for a machine that is busy. */
export const STOP_MS = 6000;
/** How long a station may take from its start to its registration: start, time check, connection. */
export const ONLINE_MS = 20000;

const TEST_MS = 120000;
const LAST_LINES = 60;
// Time for an answer to be taken in by the station.
const QUIET_MS = 100;
const FOLDER = path.join(REPOSITORY, 'build/system', String(process.pid));
// Worlds that are awake at the same time; they mostly wait.
const CONCURRENCY = Number(process.env.SYSTEM_TEST_CONCURRENCY ?? 3);
// What must never stand in a log.
const ALARMS = [/Aborting process\./, /ERROR: (Address|Leak)Sanitizer/, /WARNING: ThreadSanitizer/, /runtime error:/];

let worlds = 0;

/**
 * What the station is made of. Nothing is started by the constructor.
 * @typedef {object} WorldOptions
 *   settings     {domain: {key: value}} over the packaged defaults and those that every test has
 *   csms         options of the primary central system
 *   auxiliary    options of a second central system, for the auxiliary backoffice; null for none
 *   primary      false: the station has no primary backoffice
 *   station      options of the simulated siblings
 *   root         options of the station's folder
 *   uri          what the station is configured with, from the primary central system
 */
export class World {
  /** @param {WorldOptions} options */
  constructor(name, options = {}) {
    worlds += 1;
    this.name = name;
    this.options = options;
    this.folder = path.join(FOLDER, String(worlds));
    fs.mkdirSync(this.folder, { recursive: true });
    this.csms = this.#centralSystem('csms', options.csms);
    this.auxiliary = options.auxiliary ? this.#centralSystem('auxiliary', options.auxiliary) : null;
    this.secc = null;
    /** A test that provokes violations of the standard says so. */
    this.allowViolations = false;
    /** Set by a test in which `secc` is not expected to run at the end. */
    this.allowEnded = false;
    /** Set by a test that makes it abort. */
    this.allowAlarms = false;
    this.endings = [];
  }

  /** Has something ended with the world that it does not know of. */
  atEnd(action) {
    this.endings.push(action);
  }

  #centralSystem(name, options = {}) {
    return new CentralSystem({ state: path.join(this.folder, name), stations: { [ID]: PASSWORD }, ...options });
  }

  /** Starts the central systems and makes the station's folder; `secc` and its siblings are not there yet. */
  async prepare() {
    const { options } = this;
    await this.csms.start();
    await this.auxiliary?.start();
    const trust = [this.csms, ...(this.auxiliary ? [this.auxiliary] : [])].map((system, index) => {
      const file = path.join(this.folder, `trusted-${index}.pem`);
      fs.copyFileSync(system.caFile, file);
      return file;
    });
    this.root = new StationRoot(path.join(this.folder, 'station'), { trust, ...options.root });
    for (const [domain, keys] of Object.entries(this.#settings())) this.root.setDefaults(domain, keys);
    for (const [domain, keys] of Object.entries(options.settings ?? {})) this.root.setDefaults(domain, keys);
    this.#makeStation();
  }

  #settings() {
    const { options } = this;
    return {
      settings: {
        SeccOcppActive: options.primary !== false,
        SeccOcppUri: options.uri?.(this.csms) ?? this.csms.uri,
        ...(this.auxiliary && { SboEnabled: 'Enabled', SboAllowed: true, SboSeccOcppUri: this.auxiliary.uri }),
      },
      hwinfo: { CustomerId: ID, ProductSn: 'SN-1', HwOneOrThreePhase: options.station?.phases ?? 3 },
      fwinfo: { FwIdent: '1.0-test' },
      secrets: { AuthorizationKey: PASSWORD, SboOcppBasicAuthPassword: PASSWORD },
    };
  }

  #makeStation() {
    this.station = new Station({
      root: this.root.folder,
      times: { startingMs: 100, stoppingMs: 100 },
      ...this.options.station,
    });
  }

  /** Starts siblings and `secc`. */
  async start({ siblings = true } = {}) {
    if (!this.root) await this.prepare();
    if (siblings) await this.station.start();
    else this.station.supervisor.start();
    this.startSecc();
    return this;
  }

  startSecc(options = {}) {
    this.secc = this.root.startSecc(options);
    return this.secc;
  }

  /** The station as the primary central system sees it. */
  get link() {
    return this.csms.station(ID);
  }

  /** Resolves when the primary central system has accepted the station. */
  async online({ timeoutMs = ONLINE_MS } = {}) {
    await this.#whileRunning(
      this.csms.waitFor(() => this.link.online && this.link.registration === 'Accepted', {
        timeoutMs,
        what: 'the station to be online and accepted',
      }),
    );
  }

  /** As `online`, and nothing is under way: the heartbeat that follows the acceptance has been answered. */
  async settled(options) {
    await this.online(options);
    const answered = () => this.csms.frames({ direction: 'out', action: 'Heartbeat' }).length > 0;
    await this.#whileRunning(this.csms.waitFor(answered, { timeoutMs: 5000, what: 'the first heartbeat' }));
    await pause(QUIET_MS);
  }

  /** Gives up a wait when the process that could end it has gone. */
  async #whileRunning(waiting) {
    const ended = this.secc.exited.then((outcome) => {
      throw new Error(`secc ended: ${JSON.stringify(outcome)}`);
    });
    ended.catch(() => {});
    return Promise.race([waiting, ended]);
  }

  /** The process answers: an unknown action gets its CALLERROR. */
  async answers(link = this.link) {
    await assert.rejects(link.call('FooBar', {}, { timeoutMs: 5000 }), { code: 'NotImplemented' });
  }

  boots(system = this.csms) {
    return system.calls('BootNotification');
  }

  heartbeats(system = this.csms) {
    return system.calls('Heartbeat');
  }

  /** Resolves with a Heartbeat that comes after this moment. */
  nextHeartbeat({ timeoutMs = 10000, system = this.csms } = {}) {
    return system.waitForCall('Heartbeat', { after: system.mark, timeoutMs });
  }

  /** Waits for so long and checks that `probe` stays false all the time. */
  async never(probe, milliseconds, what) {
    const end = Date.now() + milliseconds;
    while (Date.now() < end) {
      assert.ok(!probe(), `unexpectedly: ${what}`);
      await pause(50);
    }
  }

  /** SIGINT: ends with status 0 in bounded time. */
  async interruptCleanly() {
    const outcome = await this.secc.interrupt({ timeoutMs: STOP_MS + 3000 });
    assert.equal(outcome.status, 0, `SIGINT ended it with ${JSON.stringify(outcome)}`);
    assert.ok(outcome.tookMs <= STOP_MS, `the stop took ${outcome.tookMs} ms`);
  }

  /** Kills and starts `secc` again on the same folder. */
  async restartSecc() {
    await this.secc.kill();
    this.startSecc();
  }

  /** What must hold at the end of every test. */
  async check() {
    if (this.secc && !this.allowEnded) {
      assert.ok(this.secc.running, `secc ended by itself: ${JSON.stringify(this.secc.ended)}`);
      await this.interruptCleanly();
    }
    for (const system of [this.csms, this.auxiliary]) {
      if (!system || this.allowViolations) continue;
      assert.deepEqual(
        system.violations.map(({ text, frame }) => `${text}: ${frame.text}`),
        [],
        'every frame is valid',
      );
    }
    if (this.secc && !this.allowAlarms) assert.deepEqual(this.alarmsOf(this.secc), [], 'nothing alarming in the log');
  }

  /** The lines of a process that must never stand in a log. */
  alarmsOf(secc) {
    return secc.lines.filter((line) => ALARMS.some((alarm) => alarm.test(line)));
  }

  async close() {
    if (this.secc) await this.secc.kill();
    for (const action of this.endings) await action();
    await this.station?.stop();
    await this.csms.stop();
    await this.auxiliary?.stop();
    this.csms.log.close();
    this.auxiliary?.log.close();
  }

  /** The ends of the logs, for a test that failed. */
  report() {
    const lines = [`---- ${this.name}: logs are kept in ${this.folder}`];
    for (const file of ['station/secc.log', 'csms/wire.log', 'auxiliary/wire.log']) {
      const full = path.join(this.folder, file);
      if (!fs.existsSync(full)) continue;
      lines.push(
        `---- last lines of ${file}`,
        ...fs
          .readFileSync(full, 'utf8')
          .trimEnd()
          .split('\n')
          .slice(-LAST_LINES)
          .map((line) => line.slice(0, 400)),
      );
    }
    return lines.join('\n');
  }
}

// Worlds of other tests may still be in it.
function removeWhenEmpty(folder) {
  try {
    fs.rmdirSync(folder);
  } catch (error) {
    if (!['ENOTEMPTY', 'ENOENT'].includes(error.code)) throw error;
  }
}

/**
 * A test on a world of its own, which is prepared but not started.
 * @param {string} name
 * @param {WorldOptions} options
 * @param {(world: World) => Promise<void>} run
 */
export function systemTest(name, options, run) {
  it(name, { timeout: options.timeoutMs ?? TEST_MS }, async () => {
    const world = new World(name, options);
    try {
      await world.prepare();
      await run(world);
      await world.check();
    } catch (error) {
      process.stderr.write(`${world.report()}\n`);
      throw error;
    } finally {
      await world.close();
    }
    fs.rmSync(world.folder, { recursive: true, force: true });
    removeWhenEmpty(FOLDER);
  });
}

/** Tests of one theme; a few at a time, because they mostly wait. */
export function theme(name, tests, { concurrency = CONCURRENCY } = {}) {
  describe(name, { concurrency }, tests);
}

/** The themes of a file side by side, for a file whose tests hardly compute. */
export function together(name, themes) {
  describe(name, { concurrency: true }, themes);
}
