#!/usr/bin/env node
// The simulated central system as a program.
import path from 'node:path';
import { CentralSystem } from './centralsystem.js';
import { makeCommands } from './commands.js';
import { runRepl, serveCommands } from '../lib/commands.js';
import { readNumber, readOptions, readPort } from '../lib/options.js';
import { REPOSITORY } from '../lib/packages.js';

const OPTIONS = {
  listen: { type: 'string', value: 'HOST', default: '127.0.0.1', help: 'address to listen on' },
  port: { type: 'string', value: 'PORT', default: '9443', read: readPort, help: 'TCP port; 0 takes any' },
  name: {
    type: 'string',
    value: 'NAME',
    multiple: true,
    help: 'host name or address in the certificate, repeatable (default localhost and 127.0.0.1)',
  },
  path: { type: 'string', value: 'PATH', default: '/ocpp', help: 'path in front of the station id' },
  state: {
    type: 'string',
    value: 'FOLDER',
    default: path.join(REPOSITORY, 'build/csms'),
    help: 'folder of the authority, the certificate and the wire log',
  },
  station: {
    type: 'string',
    value: 'ID:HEX',
    multiple: true,
    read: readStation,
    help: 'a station and its password in hexadecimal digits, repeatable',
  },
  anyone: { type: 'boolean', help: 'let every station in, whatever its password' },
  interval: {
    type: 'string',
    value: 'SECONDS',
    default: '300',
    read: readNumber('whole seconds'),
    help: 'heartbeat interval given to stations',
  },
  plain: { type: 'boolean', help: 'without TLS' },
  lenient: { type: 'boolean', help: 'do not validate against the schemas' },
  http: {
    type: 'string',
    value: 'PORT',
    read: readPort,
    help: 'JSON interface on this port of 127.0.0.1; 0 takes any',
  },
  quiet: { type: 'boolean', help: 'no frames on the console' },
};

/** Id and password. */
function readStation(text) {
  const parts = /^(.+):([0-9a-fA-F]+)$/.exec(text);
  if (!parts) throw new Error('ID:HEX');
  return parts.slice(1);
}

async function main() {
  const options = readOptions(OPTIONS, {
    usage:
      'usage: node simulator/csms/main.js [OPTION]...\n\nA central system for OCPP 1.6-J stations, on TLS with an authority of its own. Commands are read from standard input.',
    footer: `\nCommands:\n${makeCommands(null).help()}\n`,
  });
  if (!options) return;
  const system = new CentralSystem({
    state: options.state,
    host: options.listen,
    port: options.port,
    path: options.path,
    strict: !options.lenient,
    ...(options.name && { names: options.name }),
    stations: Object.fromEntries(options.station ?? []),
    anyStation: options.anyone,
    tls: options.plain ? false : {},
    log: { print: options.quiet ? null : (line) => console.log(line) },
  });
  system.setBoot({ status: 'Accepted', interval: options.interval });
  await system.start();
  console.log(`listening on ${system.url}/<station id>`);
  if (!options.plain) console.log(`stations must trust ${system.caFile}`);
  const table = makeCommands(system);
  const control = options.http === undefined ? null : await serveCommands(table, { port: options.http });
  if (control) console.log(`JSON interface on http://127.0.0.1:${control.port}/`);

  const end = async () => {
    await control?.close();
    await system.stop();
    process.exit(0);
  };
  process.once('SIGINT', end);
  process.once('SIGTERM', end);
  await runRepl(table);
  // Without a terminal (started in the background) the end of standard input is no wish to end.
  if (process.stdin.isTTY) await end();
}

await main();
