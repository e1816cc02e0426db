// A station of its own on this machine: a folder with everything that a station's file system holds, and a mount
// namespace (bubblewrap) in which `secc` sees it. The machine is not touched, and many stations run side by side.
//
//   <folder>/etc           is /etc within (ntp_status, hosts ...)
//   <folder>/data          is /data (trusted certificates, logs; configuration below data/config)
//   <folder>/tmp           is /tmp
//   <folder>               is /station: the root that `secc` is given, with etc/iipc.json, the packaged defaults below
//                          usr/share/secc/config, and the sockets of the siblings below run
import { spawn } from 'node:child_process';
import fs from 'node:fs';
import path from 'node:path';
import { EventEmitter } from 'node:events';
import { REPOSITORY } from './packages.js';
import { waitOn } from './waiting.js';

const PACKAGED = path.join(REPOSITORY, 'data');
const ROOT_WITHIN = '/station/';
const MAX_LOG_BYTES = 64 * 1024 * 1024;

/** Files of the machine's /etc that name resolution and TLS need. */
const ETC_FILES = [
  'hosts',
  'host.conf',
  'nsswitch.conf',
  'resolv.conf',
  'gai.conf',
  'services',
  'protocols',
  'localtime',
  'passwd',
  'group',
];
const ETC_FOLDERS = ['ssl', 'ca-certificates', 'ld.so.conf.d'];
/** Folders of the machine that programs need, read-only. On most systems all but /usr are links into it. */
const SYSTEM_FOLDERS = ['/usr', '/lib', '/lib64', '/lib32', '/bin', '/sbin'];

/** Where the program was built; `SECC` in the environment names another. */
export function seccProgram() {
  const program = process.env.SECC ?? path.join(REPOSITORY, 'build/release/src/secc/secc');
  if (!fs.existsSync(program))
    throw new Error(
      `${program} is not there; build it with: cmake --preset release && cmake --build --preset release --target secc`,
    );
  return path.resolve(program);
}

function copyIfPresent(from, to) {
  if (fs.existsSync(from)) fs.cpSync(from, to, { dereference: true, recursive: true });
}

function writeJson(file, document) {
  fs.mkdirSync(path.dirname(file), { recursive: true });
  fs.writeFileSync(file, `${JSON.stringify(document, null, 2)}\n`);
}

/** A station's folder: made once, then started as often as wanted. */
export class StationRoot {
  /**
   * @param {string} folder is made anew
   * @param {object} [options]
   *   settings       {domain: {key: value}} laid over the packaged defaults, as {settings: {SeccOcppActive: true}}
   *   trust          certificate files for /data/ssl/certs/
   *   systemTrust    false hides the certificates of the machine (default true)
   *   ntpStatus      text of /etc/ntp_status; null leaves the file out (default 'synced')
   */
  constructor(folder, { settings = {}, trust = [], systemTrust = true, ntpStatus = 'synced' } = {}) {
    this.folder = path.resolve(folder);
    this.systemTrust = systemTrust;
    fs.rmSync(this.folder, { recursive: true, force: true });
    for (const part of [
      'etc',
      'data/ssl/certs',
      'data/log',
      'data/config',
      'tmp',
      'run/secc',
      'usr/share/secc/config',
    ]) {
      fs.mkdirSync(path.join(this.folder, part), { recursive: true });
    }
    for (const file of ETC_FILES) copyIfPresent(path.join('/etc', file), this.path('etc', file));
    copyIfPresent('/etc/ld.so.cache', this.path('etc/ld.so.cache'));
    copyIfPresent(path.join(PACKAGED, 'etc'), this.path('etc'));
    copyIfPresent(path.join(PACKAGED, 'config'), this.path('usr/share/secc/config'));
    for (const [domain, keys] of Object.entries(settings)) this.setDefaults(domain, keys);
    for (const file of trust) this.trust(file);
    this.setNtpStatus(ntpStatus);
  }

  path(...parts) {
    return path.join(this.folder, ...parts);
  }

  /** The packaged default document of a domain, as it stands. */
  defaults(domain) {
    const file = this.#defaultsFile(domain);
    return fs.existsSync(file) ? JSON.parse(fs.readFileSync(file, 'utf8')) : {};
  }

  #defaultsFile(domain) {
    return this.path('usr/share/secc/config', `${domain}.json`);
  }

  /** Lays keys over the packaged defaults of a domain. What `secc` has stored since counts before them. */
  setDefaults(domain, keys) {
    writeJson(this.#defaultsFile(domain), { ...this.defaults(domain), ...keys });
  }

  /** Writes any text as a default document, also a broken one. */
  writeDefaults(domain, text) {
    fs.mkdirSync(path.dirname(this.#defaultsFile(domain)), { recursive: true });
    fs.writeFileSync(this.#defaultsFile(domain), text);
  }

  /** Puts a certificate in the persistent trust store. */
  trust(file) {
    fs.copyFileSync(file, this.path('data/ssl/certs', path.basename(file)));
  }

  /** @param {string|null} text first line of /etc/ntp_status; null removes the file */
  setNtpStatus(text) {
    const file = this.path('etc/ntp_status');
    if (text === null) fs.rmSync(file, { force: true });
    else fs.writeFileSync(file, `${text}\n`);
  }

  /** The arguments of bubblewrap in front of the command. */
  #namespace() {
    const args = ['--die-with-parent', '--unshare-ipc', '--unshare-uts'];
    for (const folder of SYSTEM_FOLDERS) {
      if (!fs.existsSync(folder)) continue;
      if (fs.lstatSync(folder).isSymbolicLink()) args.push('--symlink', fs.readlinkSync(folder), folder);
      else args.push('--ro-bind', folder, folder);
    }
    args.push('--bind', this.path('etc'), '/etc');
    for (const folder of ETC_FOLDERS) {
      const hidden = folder === 'ssl' && !this.systemTrust;
      if (fs.existsSync(path.join('/etc', folder)) && !hidden)
        args.push('--ro-bind', path.join('/etc', folder), path.join('/etc', folder));
    }
    args.push(
      '--bind',
      this.path('data'),
      '/data',
      '--bind',
      this.path('tmp'),
      '/tmp',
      '--bind',
      this.folder,
      ROOT_WITHIN.slice(0, -1),
    );
    args.push('--dev-bind', '/proc', '/proc', '--dev', '/dev', '--chdir', '/');
    return args;
  }

  /**
   * Runs `secc` within the namespace.
   * @param {object} [options] `args` (default -v and the root); `program`; `environment`; `mounts`: further arguments of
   *   bubblewrap, as ['--ro-bind', from, to]; `log`: appended to
   * @returns {SeccProcess}
   */
  startSecc({
    args = ['-v', '-r', ROOT_WITHIN],
    program = seccProgram(),
    environment = {},
    mounts = [],
    log = this.path('secc.log'),
  } = {}) {
    const within = '/secc';
    return new SeccProcess(
      [...this.#namespace(), ...mounts, '--ro-bind', program, within, '--info-fd', '3', '--', within, ...args],
      { environment, log },
    );
  }
}

/**
 * A running `secc`. Events: 'line' (text) for each line of its output, 'exit' ({status, signal}).
 */
export class SeccProcess extends EventEmitter {
  #child;
  #pid = null;

  constructor(args, { environment, log }) {
    super();
    this.setMaxListeners(0);
    /** Lines of its output so far, both streams. */
    this.lines = [];
    /** {status, signal} once it has ended. */
    this.ended = null;
    this.startedAt = Date.now();
    const file = fs.openSync(log, 'a');
    this.logFile = log;
    // A group of its own: Ctrl-C at a terminal is for the caller, which then ends this process in order.
    this.#child = spawn('bwrap', args, {
      detached: true,
      stdio: ['ignore', 'pipe', 'pipe', 'pipe'],
      env: { PATH: '/usr/bin:/bin', LANG: 'C.UTF-8', TZ: 'UTC', ...environment },
    });
    this.#readInfo(this.#child.stdio[3]);
    for (const stream of [this.#child.stdout, this.#child.stderr]) this.#readLines(stream, file);
    this.exited = new Promise((resolve) => {
      this.#child.once('error', (error) => this.#end({ status: null, signal: null, error }, file, resolve));
      this.#child.once('close', (status, signal) => this.#end(exitOf(status, signal), file, resolve));
    });
  }

  /** Id of the process itself, not of the namespace's guard. */
  get pid() {
    return this.#pid;
  }

  get running() {
    return this.ended === null;
  }

  #readInfo(stream) {
    let text = '';
    stream.on('data', (chunk) => {
      text += chunk;
    });
    stream.on('end', () => {
      const match = /"child-pid"\s*:\s*(\d+)/.exec(text);
      if (match) this.#pid = Number(match[1]);
      this.emit('line', '');
    });
  }

  #readLines(stream, file) {
    let rest = '';
    let written = 0;
    stream.setEncoding('utf8');
    stream.on('data', (chunk) => {
      if (written < MAX_LOG_BYTES) fs.writeSync(file, chunk);
      written += chunk.length;
      const lines = (rest + chunk).split('\n');
      rest = lines.pop();
      for (const line of lines) {
        this.lines.push(line);
        this.emit('line', line);
      }
    });
    stream.on('end', () => {
      if (rest.length > 0) this.lines.push(rest);
    });
  }

  #end(outcome, file, resolve) {
    if (this.ended) return;
    this.ended = { ...outcome, afterMs: Date.now() - this.startedAt };
    fs.closeSync(file);
    this.emit('exit', this.ended);
    this.emit('line', '');
    resolve(this.ended);
  }

  /** Resolves once `pid` is known, or the process has ended. */
  started() {
    return waitOn(this, 'line', () => this.#pid !== null || this.ended, {
      timeoutMs: 5000,
      what: 'the process to be started',
    });
  }

  /** Sends a signal to the process itself. */
  async signal(name) {
    await this.started();
    if (this.ended) return;
    try {
      process.kill(this.#pid, name);
    } catch (error) {
      // It ended a moment ago, and the outcome is about to arrive.
      if (error.code !== 'ESRCH') throw error;
    }
  }

  /**
   * Asks it to end with SIGINT and waits; after the deadline it is killed, and the outcome says so. `tookMs` is the time of the
   * process itself, without that of the namespace's guard.
   */
  async interrupt({ timeoutMs = 5000 } = {}) {
    const start = Date.now();
    await this.signal('SIGINT');
    const timer = setTimeout(() => this.kill(), timeoutMs);
    let goneAt = null;
    const watch = setInterval(() => {
      if (goneAt === null && this.#isGone()) goneAt = Date.now();
    }, 10);
    const outcome = await this.exited;
    clearTimeout(timer);
    clearInterval(watch);
    return { ...outcome, tookMs: (goneAt ?? Date.now()) - start };
  }

  // A process whose guard has not yet taken note of its end is a zombie.
  #isGone() {
    try {
      return / Z /.test(fs.readFileSync(`/proc/${this.#pid}/stat`, 'utf8').replace(/^.*\)/s, ''));
    } catch {
      return true;
    }
  }

  /** Kills it with signal 9 and waits. */
  async kill() {
    if (this.running) await this.signal('SIGKILL').catch(() => this.#child.kill('SIGKILL'));
    return this.exited;
  }

  /** Resolves with the first line that holds `part` (a text or an expression). */
  waitForLine(part, { timeoutMs = 10000, from = 0 } = {}) {
    const test = typeof part === 'string' ? (line) => line.includes(part) : (line) => part.test(line);
    const probe = () => {
      const line = this.lines.slice(from).find(test);
      if (line === undefined && this.ended)
        throw new Error(`secc ended (${JSON.stringify(this.ended)}) before the line "${part}"`);
      return line;
    };
    return waitOn(this, 'line', probe, { timeoutMs, what: `the line "${part}" of secc` });
  }

  /** Resident memory in kB. */
  residentKb() {
    const match = /VmRSS:\s+(\d+) kB/.exec(fs.readFileSync(`/proc/${this.#pid}/status`, 'utf8'));
    return Number(match[1]);
  }

  /** Number of threads, and of open descriptors. */
  resources() {
    return {
      threads: fs.readdirSync(`/proc/${this.#pid}/task`).length,
      descriptors: fs.readdirSync(`/proc/${this.#pid}/fd`).length,
    };
  }
}

// The guard of the namespace passes on how the command ended: 128 + n stands for signal n.
function exitOf(status, signal) {
  if (status !== null && status > 128) return { status: null, signal: status - 128 };
  return { status, signal };
}
