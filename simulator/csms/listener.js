// The central system's door: TCP, TLS, the websocket upgrade with basic authentication, and what can be made to go
// wrong there. Everything behind an opened websocket is the business of `stationlink.js`.
import { EventEmitter } from 'node:events';
import { timingSafeEqual } from 'node:crypto';
import fs from 'node:fs';
import http from 'node:http';
import https from 'node:https';
import net from 'node:net';
import { WebSocketServer } from '../lib/packages.js';

export const SUBPROTOCOL = 'ocpp1.6';

// Largest frame that is taken from a station.
const MAX_FRAME_BYTES = 16 * 1024 * 1024;

/**
 * What the door does with the next connections. Members:
 *   mode         'open' (default); 'reset' (TCP connection is reset); 'silent' (TCP is accepted, nothing follows);
 *                'http' (the upgrade is answered with `status`, default 503)
 *   status       HTTP status of mode 'http'
 *   headers      further HTTP header lines of mode 'http', as an object
 *   subprotocol  the one picked (default 'ocpp1.6'); null picks none
 *   times        for how many connections (default: until changed)
 * @typedef {object} Door
 */
const DOOR_MODES = new Set(['open', 'reset', 'silent', 'http']);

function decodeBasic(header) {
  if (!header?.startsWith('Basic ')) return null;
  const bytes = Buffer.from(header.slice(6), 'base64');
  const colon = bytes.indexOf(0x3a);
  if (colon < 0) return null;
  return { user: bytes.subarray(0, colon).toString('utf8'), password: bytes.subarray(colon + 1) };
}

function sameBytes(one, other) {
  return one.length === other.length && timingSafeEqual(one, other);
}

/** Bytes of a password written in hexadecimal digits; an odd number of digits gets a 0 in front. */
export function passwordBytes(hex) {
  if (!/^[0-9a-fA-F]*$/.test(hex)) throw new TypeError('a password is written in hexadecimal digits');
  return Buffer.from(hex.length % 2 ? `0${hex}` : hex, 'hex');
}

function pickSubprotocol(offered, door) {
  if (door.subprotocol !== undefined) return door.subprotocol ?? false;
  return offered.has(SUBPROTOCOL) ? SUBPROTOCOL : false;
}

// The TLS socket of a connection and the TCP socket beneath it have the peer's address in common.
function peerOf(socket) {
  return `${socket.remoteAddress} ${socket.remotePort}`;
}

/**
 * Events: 'open' (websocket, {station, path, subprotocol, tls}), 'refused' ({station, status, reason}),
 * 'tls-error' (error), 'tcp' (socket).
 */
export class Listener extends EventEmitter {
  #options;
  #server = null;
  #tcp = null;
  #sockets = new Set();
  #doors = new Map();
  #websockets;
  #door = { mode: 'open' };
  #doorLeft = Infinity;

  /**
   * @param {object} options
   *   host, port        where to listen (port 0: any)
   *   tls               false for plain websockets, else {cert, key} files and optional minVersion, maxVersion, ciphers
   *   path              the path in front of the station id, as '/ocpp'
   *   passwords         Map of station id to password in hex; stations that are not in it are refused
   *   anyStation        true: any station id and password is let in
   */
  constructor(options) {
    super();
    this.#options = { host: '127.0.0.1', port: 0, path: '/ocpp', anyStation: false, ...options };
    this.#websockets = new WebSocketServer({
      noServer: true,
      maxPayload: MAX_FRAME_BYTES,
      handleProtocols: (offered, request) => pickSubprotocol(offered, request.door),
    });
  }

  get port() {
    return this.#options.port;
  }

  /** @param {Door} door */
  setDoor(door) {
    if (!DOOR_MODES.has(door.mode ?? 'open')) throw new TypeError(`door mode is one of ${[...DOOR_MODES].join(', ')}`);
    this.#door = { mode: 'open', ...door };
    this.#doorLeft = door.times ?? Infinity;
  }

  async start() {
    this.#server = this.#makeServer();
    this.#server.on('upgrade', (request, socket, head) => this.#upgrade(request, socket, head));
    this.#server.on('request', (request, response) => response.writeHead(426).end('websocket only\n'));
    this.#server.on('tlsClientError', (error) => this.emit('tls-error', error));
    this.#tcp = net.createServer((socket) => this.#accept(socket));
    await new Promise((resolve, reject) => {
      this.#tcp.once('error', reject);
      this.#tcp.listen(this.#options.port, this.#options.host, resolve);
    });
    // Kept over a restart, so that stations find the central system where it was.
    this.#options.port = this.#tcp.address().port;
  }

  /** Stops listening and breaks off what is connected. */
  async stop() {
    if (!this.#tcp) return;
    const closed = new Promise((resolve) => {
      this.#tcp.close(resolve);
    });
    for (const socket of this.#sockets) socket.destroy();
    this.#server.close();
    this.#tcp = null;
    await closed;
  }

  #makeServer() {
    const { tls } = this.#options;
    if (!tls) return http.createServer();
    const { cert, key, ...rest } = tls;
    return https.createServer({
      minVersion: 'TLSv1.2',
      ...rest,
      cert: fs.readFileSync(cert),
      key: fs.readFileSync(key),
    });
  }

  #useDoor() {
    if (this.#doorLeft <= 0) this.setDoor({ mode: 'open' });
    this.#doorLeft -= 1;
    return this.#door;
  }

  #accept(socket) {
    const peer = peerOf(socket);
    this.#sockets.add(socket);
    socket.once('close', () => {
      this.#sockets.delete(socket);
      this.#doors.delete(peer);
    });
    // A station may break off at any time; what it broke off shows at the websocket.
    socket.on('error', () => {});
    const door = this.#useDoor();
    this.emit('tcp', socket);
    if (door.mode === 'reset') socket.resetAndDestroy();
    else if (door.mode !== 'silent') {
      this.#doors.set(peer, door);
      this.#server.emit('connection', socket);
    }
  }

  #upgrade(request, socket, head) {
    const door = this.#doors.get(peerOf(socket)) ?? { mode: 'open' };
    const { path } = this.#options;
    const url = decodeURI(request.url);
    const station = url.startsWith(`${path}/`) ? url.slice(path.length + 1) : null;
    const refuse = (status, reason, headers = {}) => {
      this.emit('refused', { station, status, reason });
      const lines = Object.entries({ Connection: 'close', 'Content-Length': 0, ...headers }).map(
        ([name, value]) => `${name}: ${value}\r\n`,
      );
      socket.end(`HTTP/1.1 ${status} ${http.STATUS_CODES[status] ?? ''}\r\n${lines.join('')}\r\n`);
    };
    if (door.mode === 'http') return refuse(door.status ?? 503, 'as the door was set', door.headers);
    if (!station || station.includes('/')) return refuse(404, `path ${request.url} is not served`);
    const credentials = decodeBasic(request.headers.authorization);
    if (!this.#mayEnter(station, credentials)) {
      return refuse(401, credentials ? 'wrong user or password' : 'no credentials', {
        'WWW-Authenticate': 'Basic realm="ocpp"',
      });
    }
    return this.#open(request, socket, head, station, door);
  }

  #open(request, socket, head, station, door) {
    request.door = door;
    this.#websockets.handleUpgrade(request, socket, head, (websocket) => {
      const tls = socket.getProtocol
        ? { version: socket.getProtocol(), cipher: socket.getCipher().standardName }
        : null;
      this.emit('open', websocket, {
        station,
        path: request.url,
        subprotocol: websocket.protocol,
        tls,
        offered: request.headers['sec-websocket-protocol'] ?? '',
      });
    });
    return true;
  }

  #mayEnter(station, credentials) {
    if (!credentials) return false;
    if (this.#options.anyStation) return true;
    const expected = this.#options.passwords?.get(station);
    if (expected === undefined || credentials.user !== station) return false;
    return sameBytes(credentials.password, passwordBytes(expected));
  }
}
