// The central system's own certificate authority and server certificates, made with the `openssl` program and kept in
// one folder: `ca.pem`, `ca.key`, `server.pem` (with the authority's certificate behind it), `server.key`.
import { execFileSync } from 'node:child_process';
import { X509Certificate } from 'node:crypto';
import fs from 'node:fs';
import path from 'node:path';

const DAY_MS = 24 * 3600 * 1000;
// A server certificate that ends sooner than this is made anew at start.
const RENEW_BEFORE_MS = 7 * DAY_MS;

function openssl(args, input) {
  return execFileSync('openssl', args, { input, stdio: ['pipe', 'pipe', 'pipe'], encoding: 'utf8' });
}

function makeKey(file, type) {
  const algorithm =
    type === 'rsa' ? ['RSA', '-pkeyopt', 'rsa_keygen_bits:2048'] : ['EC', '-pkeyopt', 'ec_paramgen_curve:P-256'];
  openssl(['genpkey', '-algorithm', ...algorithm, '-out', file]);
  fs.chmodSync(file, 0o600);
}

function isIpAddress(name) {
  return /^[0-9.]+$/.test(name) || name.includes(':');
}

/** The text of a subjectAltName extension for host names and IP addresses. */
export function subjectAltNames(names) {
  return names.map((name) => `${isIpAddress(name) ? 'IP' : 'DNS'}:${name}`).join(',');
}

/**
 * Makes an authority in `folder` unless it holds one.
 * @returns {{certificateFile: string, keyFile: string}}
 */
export function ensureAuthority(
  folder,
  { name = 'ca', commonName = 'Simulated central system CA', keyType = 'ec' } = {},
) {
  fs.mkdirSync(folder, { recursive: true });
  const certificateFile = path.join(folder, `${name}.pem`);
  const keyFile = path.join(folder, `${name}.key`);
  if (fs.existsSync(certificateFile) && fs.existsSync(keyFile)) return { certificateFile, keyFile };
  makeKey(keyFile, keyType);
  openssl([
    'req',
    '-x509',
    '-new',
    '-key',
    keyFile,
    '-sha256',
    '-days',
    '3650',
    '-subj',
    `/O=secc simulator/CN=${commonName}`,
    '-addext',
    'basicConstraints=critical,CA:TRUE',
    '-addext',
    'keyUsage=critical,keyCertSign,cRLSign',
    '-out',
    certificateFile,
  ]);
  return { certificateFile, keyFile };
}

/**
 * Makes a server certificate signed by `authority`, or self-signed without one.
 * @param {object} options `folder`, `name` (file stem), `hosts` (names and addresses), `authority`, `keyType` 'ec' or 'rsa'.
 * @returns {{certificateFile: string, keyFile: string}} the certificate file also holds the authority's certificate.
 */
export function issueServerCertificate({
  folder,
  name = 'server',
  hosts,
  authority = null,
  keyType = 'ec',
  days = 365,
}) {
  fs.mkdirSync(folder, { recursive: true });
  const certificateFile = path.join(folder, `${name}.pem`);
  const keyFile = path.join(folder, `${name}.key`);
  const extensions = [
    '-addext',
    `subjectAltName=${subjectAltNames(hosts)}`,
    '-addext',
    'extendedKeyUsage=serverAuth',
    '-addext',
    'basicConstraints=critical,CA:FALSE',
  ];
  makeKey(keyFile, keyType);
  const signer = authority ? ['-CA', authority.certificateFile, '-CAkey', authority.keyFile] : [];
  openssl([
    'req',
    '-x509',
    '-new',
    '-key',
    keyFile,
    ...signer,
    '-sha256',
    '-days',
    String(days),
    '-subj',
    `/O=secc simulator/CN=${hosts[0]}`,
    ...extensions,
    '-out',
    certificateFile,
  ]);
  if (authority) fs.appendFileSync(certificateFile, fs.readFileSync(authority.certificateFile));
  return { certificateFile, keyFile };
}

function isUsable(certificateFile, keyFile, hosts) {
  if (!fs.existsSync(certificateFile) || !fs.existsSync(keyFile)) return false;
  const certificate = new X509Certificate(fs.readFileSync(certificateFile));
  if (new Date(certificate.validTo).getTime() - Date.now() < RENEW_BEFORE_MS) return false;
  return hosts.every(
    (host) => (isIpAddress(host) ? certificate.checkIP(host) : certificate.checkHost(host)) !== undefined,
  );
}

/** The authority and the server certificate of `folder`, made at the first call or when they no longer serve. */
export function ensureCertificates(folder, hosts) {
  const authority = ensureAuthority(folder);
  const server = { certificateFile: path.join(folder, 'server.pem'), keyFile: path.join(folder, 'server.key') };
  if (!isUsable(server.certificateFile, server.keyFile, hosts)) issueServerCertificate({ folder, hosts, authority });
  return { authority, server };
}
