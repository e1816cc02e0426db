// A server that does TLS and nothing else, and remembers what it decrypted: to prove that nothing was sent to it. And
// certificates of the kinds that a station must refuse.
import { execFileSync } from 'node:child_process';
import { EventEmitter } from 'node:events';
import fs from 'node:fs';
import path from 'node:path';
import tls from 'node:tls';
import { waitOn } from '../../../simulator/lib/waiting.js';

function openssl(folder, args) {
  execFileSync('openssl', args, { cwd: folder, stdio: ['pipe', 'pipe', 'pipe'] });
}

const CONFIGURATION = `
[ca]
default_ca = own
[own]
database = index.txt
serial = serial.txt
new_certs_dir = .
default_md = sha256
policy = any
unique_subject = no
[any]
commonName = supplied
[leaf]
basicConstraints = critical,CA:FALSE
extendedKeyUsage = serverAuth
subjectAltName = DNS:localhost
[authority]
basicConstraints = critical,CA:TRUE
keyUsage = critical,keyCertSign,cRLSign
`;

/** A certificate authority in a folder of its own, which issues what is asked of it. */
export class Authority {
  #folder;

  constructor(folder) {
    this.#folder = folder;
    fs.mkdirSync(folder, { recursive: true });
    fs.writeFileSync(this.#path('ca.cnf'), CONFIGURATION);
    fs.writeFileSync(this.#path('index.txt'), '');
    fs.writeFileSync(this.#path('serial.txt'), '1000\n');
    openssl(folder, [
      ...['req', '-x509', '-newkey', 'ec', '-pkeyopt', 'ec_paramgen_curve:P-256', '-nodes', '-days', '3650'],
      ...['-keyout', 'root.key', '-out', 'root.pem', '-subj', '/CN=Test root', '-config', 'ca.cnf'],
      ...['-extensions', 'authority'],
    ]);
  }

  #path(name) {
    return path.join(this.#folder, name);
  }

  /** What a station must trust. */
  get rootFile() {
    return this.#path('root.pem');
  }

  /**
   * Issues a certificate for "localhost", or for an authority beneath this one.
   * @param {object} options `name` (file stem), `issuer` (of an earlier one; default the root), `from` and `until` (dates)
   * @returns {{cert: string, key: string}} as texts, the certificate alone
   */
  issue({
    name,
    issuer = 'root',
    kind = 'leaf',
    from = new Date(Date.now() - 3600000),
    until = new Date(Date.now() + 1e10),
  }) {
    openssl(this.#folder, [
      ...['req', '-newkey', 'ec', '-pkeyopt', 'ec_paramgen_curve:P-256', '-nodes', '-config', 'ca.cnf'],
      ...['-keyout', `${name}.key`, '-out', `${name}.csr`, '-subj', `/CN=${name}`],
    ]);
    openssl(this.#folder, [
      ...['ca', '-batch', '-notext', '-config', 'ca.cnf', '-extensions', kind],
      ...['-in', `${name}.csr`, '-cert', `${issuer}.pem`, '-keyfile', `${issuer}.key`, '-out', `${name}.pem`],
      ...['-startdate', asn1Time(from), '-enddate', asn1Time(until)],
    ]);
    return { cert: fs.readFileSync(this.#path(`${name}.pem`)), key: fs.readFileSync(this.#path(`${name}.key`)) };
  }
}

function asn1Time(date) {
  return date.toISOString().replace(/[-:T]|\.\d+/g, '');
}

/** Events: 'change' after each connection, failed handshake and piece of data. */
export class TlsOnlyServer extends EventEmitter {
  #server;
  #sockets = new Set();

  /** @param {tls.TlsOptions} options of the server, certificate and key among them */
  constructor(options) {
    super();
    /** TCP connections so far. */
    this.connections = 0;
    /** Handshakes that failed, as error codes or texts. */
    this.failures = [];
    /** What came out of TLS, of all connections. */
    this.decrypted = '';
    this.#server = tls.createServer(options, (socket) => {
      socket.on('data', (bytes) => {
        this.decrypted += bytes.toString('latin1');
        this.emit('change');
      });
      socket.on('error', () => {});
    });
    this.#server.on('connection', (socket) => {
      this.#sockets.add(socket);
      socket.once('close', () => this.#sockets.delete(socket));
      this.connections += 1;
      this.emit('change');
    });
    this.#server.on('tlsClientError', (error) => {
      this.failures.push(error.code ?? error.message);
      this.emit('change');
    });
  }

  async start() {
    await new Promise((resolve) => {
      this.#server.listen(0, '127.0.0.1', resolve);
    });
    return this;
  }

  get port() {
    return this.#server.address().port;
  }

  waitFor(probe, { timeoutMs, what }) {
    return waitOn(this, 'change', probe, { timeoutMs, what });
  }

  async stop() {
    const closed = new Promise((resolve) => {
      this.#server.close(resolve);
    });
    for (const socket of this.#sockets) socket.destroy();
    await closed;
  }
}
