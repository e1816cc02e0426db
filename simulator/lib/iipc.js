// The IPC contract in Node: the published `.proto` files, the directory of services (`etc/iipc.json`), and the two sides
// of a service. Each service has its own server, as each sibling has its own process, so that each can die, hang and
// come back alone.
import { EventEmitter } from 'node:events';
import fs from 'node:fs';
import path from 'node:path';
import { REPOSITORY, grpc, protoLoader } from './packages.js';
import { pause } from './waiting.js';

const PROTO_FOLDER = path.join(REPOSITORY, 'platform/iipc/proto');
const PACKAGE = 'secc.ipc.v1';

// The longest path that the kernel takes for a Unix socket.
const MAX_SOCKET_PATH = 107;
const RETRY_MS = 100;
// Requests that a service remembers.
const CALL_HISTORY = 10000;

/** Names in the directory, and the interface behind each. */
export const SERVICES = {
  SeccGenCtrl: 'GenericControl',
  SeccLog: 'LogConfig',
  ChargeControlBasicCharge: 'BasicCharge2',
  BoardControl: 'BoardControl',
  CurrentControl: 'CurrentControl',
  Diagnostics: 'Diagnostics',
  Feedback: 'Feedback',
  Meter: 'Meter',
  SafetyMcuComm: 'SafetyMcuComm',
  SessionManager: 'SessionManager',
  SessionManagerAuth: 'SessionManagerAuth',
};

let contract = null;

/** The loaded contract: `interfaces` by name and `enums` by name, each with its numbers by value name. */
export function loadContract(folder = PROTO_FOLDER) {
  if (contract) return contract;
  const files = fs
    .readdirSync(folder)
    .filter((file) => file.endsWith('.proto'))
    .map((file) => path.join(folder, file));
  const definition = protoLoader.loadSync(files, {
    includeDirs: [folder],
    longs: Number,
    enums: Number,
    defaults: true,
    arrays: true,
    oneofs: true,
    keepCase: true,
  });
  const interfaces = {};
  const enums = {};
  for (const [name, entry] of Object.entries(definition)) {
    if (!name.startsWith(`${PACKAGE}.`)) continue;
    const short = name.slice(PACKAGE.length + 1);
    if (entry.format === 'Protocol Buffer 3 EnumDescriptorProto') {
      enums[short] = Object.fromEntries(entry.type.value.map((value) => [value.name, value.number]));
    } else if (entry.format === undefined) {
      interfaces[short] = entry;
    }
  }
  contract = { interfaces, enums };
  return contract;
}

/** The numbers of an enumeration with the common prefix of its value names left out. */
export function enumeration(name) {
  const values = loadContract().enums[name];
  if (!values) throw new Error(`the contract has no enumeration ${name}`);
  return values;
}

/** The text of a number of an enumeration. */
export function enumText(name, number) {
  const found = Object.entries(enumeration(name)).find(([, value]) => value === number);
  return found ? found[0] : String(number);
}

function readDocument(file) {
  try {
    return JSON.parse(fs.readFileSync(file, 'utf8'));
  } catch {
    return {};
  }
}

/**
 * Where the services of a root are: service name to absolute gRPC address. As for every process of the station, a
 * service that `etc/iipc.json` does not list, or a file that is missing or broken, means the default place.
 * @param {string} root folder that holds `etc/iipc.json`; relative Unix socket paths lie below it
 */
export function readDirectory(root) {
  const { services } = readDocument(path.join(root, 'etc/iipc.json')) ?? {};
  return Object.fromEntries(
    Object.keys(SERVICES).map((name) => [
      name,
      absoluteAddress(root, services?.[name] ?? `unix:run/secc/${name}.sock`),
    ]),
  );
}

function absoluteAddress(root, address) {
  if (!address.startsWith('unix:')) return address;
  return `unix:${path.resolve(root, address.slice('unix:'.length).replace(/^\/\//, ''))}`;
}

const openFolders = new Map();

/** A gRPC address that the kernel takes also when the path of the socket is too long: through an open folder. */
function reachable(address) {
  if (!address.startsWith('unix:')) return address;
  const file = address.slice('unix:'.length);
  if (Buffer.byteLength(file) <= MAX_SOCKET_PATH) return address;
  const folder = path.dirname(file);
  if (!openFolders.has(folder))
    openFolders.set(folder, fs.openSync(folder, fs.constants.O_RDONLY | fs.constants.O_DIRECTORY));
  return `unix:/proc/self/fd/${openFolders.get(folder)}/${path.basename(file)}`;
}

/**
 * What a service does with the next calls of one method: {delayMs, silence, error: {code, message}, answer}. `answer`
 * replaces the own one; `times` says for how many calls (default 1; 0 for all).
 * @typedef {object} CallScript
 */

/**
 * One served interface. Events: 'call' ({method, request}) after each request, 'subscribed' (subscriber), 'unsubscribed'.
 */
export class ServiceServer extends EventEmitter {
  #server = null;
  #streams = new Set();
  #scripts = new Map();
  #greet;

  /**
   * @param {string} name in the directory
   * @param {string} address of gRPC
   * @param {Record<string, (request: object) => object|Promise<object>>} methods the unary methods
   * @param {object} [options] `greet`: gives the notifications that a new subscriber gets first, as a list
   */
  constructor(name, address, methods, { greet = () => [] } = {}) {
    super();
    this.name = name;
    this.address = address;
    this.methods = methods;
    this.#greet = greet;
    /** Requests so far: {method, request, time}. */
    this.calls = [];
  }

  get running() {
    return this.#server !== null;
  }

  get subscribers() {
    return [...this.#streams].map((stream) => stream.request.subscriber);
  }

  async start() {
    if (this.#server) return;
    const { interfaces } = loadContract();
    const definition = interfaces[SERVICES[this.name]];
    const server = new grpc.Server({ 'grpc.so_reuseport': 0 });
    server.addService(definition, this.#implementation(definition));
    this.#removeSocket();
    await new Promise((resolve, reject) => {
      server.bindAsync(reachable(this.address), grpc.ServerCredentials.createInsecure(), (error) =>
        error ? reject(error) : resolve(),
      );
    });
    this.#server = server;
  }

  /** Ends at once, as a process that is killed: calls under way break off, streams end. */
  async kill() {
    const server = this.#server;
    this.#server = null;
    if (!server) return;
    server.forceShutdown();
    this.#streams.clear();
    this.#removeSocket();
  }

  /** @param {string} method @param {CallScript} script */
  script(method, script) {
    const definition = loadContract().interfaces[SERVICES[this.name]];
    if (!definition[method])
      throw new Error(`${this.name} has no method ${method}; it has ${Object.keys(definition).join(', ')}`);
    const list = this.#scripts.get(method) ?? [];
    list.push({ ...script, left: script.times ?? 1 });
    this.#scripts.set(method, list);
  }

  clearScripts() {
    this.#scripts.clear();
  }

  /** Sends a notification to all subscribers; true when there was one. */
  notify(notification) {
    for (const stream of this.#streams) stream.write(notification);
    return this.#streams.size > 0;
  }

  #removeSocket() {
    if (!this.address.startsWith('unix:')) return;
    const file = this.address.slice('unix:'.length);
    fs.mkdirSync(path.dirname(file), { recursive: true });
    fs.rmSync(file, { force: true });
  }

  #implementation(definition) {
    const implementation = {};
    for (const [method, { responseStream }] of Object.entries(definition)) {
      if (responseStream) implementation[method] = (stream) => this.#subscribe(stream);
      else implementation[method] = (call, callback) => this.#serve(method, call.request, callback);
    }
    return implementation;
  }

  #subscribe(stream) {
    this.#streams.add(stream);
    const leave = () => {
      if (!this.#streams.delete(stream)) return;
      this.emit('unsubscribed', stream.request.subscriber);
    };
    stream.on('cancelled', leave);
    stream.on('close', leave);
    stream.on('error', leave);
    for (const notification of this.#greet()) stream.write(notification);
    this.emit('subscribed', stream.request.subscriber);
  }

  #takeScript(method) {
    const list = this.#scripts.get(method) ?? [];
    if (list.length === 0) return {};
    const script = list[0];
    if (script.left === 1) list.shift();
    else if (script.left > 1) script.left -= 1;
    return script;
  }

  async #serve(method, request, callback) {
    const script = this.#takeScript(method);
    this.calls.push({ method, request, time: Date.now() });
    if (this.calls.length > CALL_HISTORY) this.calls.shift();
    if (script.delayMs) await pause(script.delayMs);
    if (script.silence) return;
    if (script.error) {
      callback({ code: grpc.status[script.error.code] ?? grpc.status.INTERNAL, details: script.error.message ?? '' });
      return;
    }
    try {
      const handler = this.methods[method];
      const own = handler ? await handler(request) : null;
      if (own === null && script.answer === undefined)
        callback({ code: grpc.status.UNIMPLEMENTED, details: `${method} is not served` });
      else callback(null, script.answer ?? own);
    } catch (error) {
      callback({ code: grpc.status.INTERNAL, details: error.message });
    }
    this.emit('call', { method, request });
  }
}

const CHANNEL_OPTIONS = {
  'grpc.initial_reconnect_backoff_ms': 100,
  'grpc.min_reconnect_backoff_ms': 100,
  'grpc.max_reconnect_backoff_ms': 500,
};

/**
 * The calling side of a service. Its notification stream is opened again whenever it ends.
 * Events: 'notification' (message), 'stream' (true or false: open or not).
 */
export class ServiceClient extends EventEmitter {
  #client;
  #stream = null;
  #closed = false;

  constructor(name, address, subscriber) {
    super();
    this.name = name;
    this.subscriber = subscriber;
    const Client = grpc.makeClientConstructor(loadContract().interfaces[SERVICES[name]], SERVICES[name]);
    this.#client = new Client(reachable(address), grpc.credentials.createInsecure(), CHANNEL_OPTIONS);
  }

  /** Starts to listen to notifications. */
  listen() {
    if (this.#closed || this.#stream) return;
    const stream = this.#client.Notifications({ subscriber: this.subscriber }, { deadline: Infinity });
    this.#stream = stream;
    let announced = false;
    const again = () => {
      if (this.#stream !== stream) return;
      this.#stream = null;
      if (announced) this.emit('stream', false);
      if (!this.#closed) setTimeout(() => this.listen(), RETRY_MS).unref();
    };
    stream.on('metadata', () => {
      announced = true;
      this.emit('stream', true);
    });
    stream.on('data', (message) => this.emit('notification', message));
    stream.on('error', again);
    stream.on('end', again);
  }

  /** Calls a unary method. */
  call(method, request = {}, { timeoutMs = 5000 } = {}) {
    return new Promise((resolve, reject) => {
      this.#client[method](request, { deadline: Date.now() + timeoutMs }, (error, answer) =>
        error ? reject(error) : resolve(answer),
      );
    });
  }

  close() {
    this.#closed = true;
    this.#stream?.cancel();
    this.#client.close();
  }
}
