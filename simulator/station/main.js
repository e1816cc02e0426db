#!/usr/bin/env node
// The simulated station as a program: all siblings of `secc`, and its supervisor.
import { Station } from './station.js';
import { makeCommands } from './commands.js';
import { runRepl, serveCommands } from '../lib/commands.js';
import { readNumber, readOptions, readPort, refuse } from '../lib/options.js';

const OPTIONS = {
  root: {
    type: 'string',
    value: 'FOLDER',
    help: 'root of the station: holds etc/iipc.json, and the state of the siblings',
  },
  phases: { type: 'string', value: '1|3', default: '3', read: readPhases, help: 'phases of the station' },
  current: {
    type: 'string',
    value: 'AMPERE',
    default: '16',
    read: readNumber('a current in ampere', { isWhole: false }),
    help: 'what the installation allows',
  },
  'fixed-cable': { type: 'boolean', help: 'a station without a socket' },
  free: { type: 'boolean', help: 'free charging: every tag is let through at once' },
  signed: { type: 'boolean', help: 'the meter signs sessions' },
  watch: { type: 'boolean', help: 'only watch secc, send no Disable and Enable' },
  http: {
    type: 'string',
    value: 'PORT',
    read: readPort,
    help: 'JSON interface on this port of 127.0.0.1; 0 takes any',
  },
  quiet: { type: 'boolean', help: 'do not print what happens' },
};

function readPhases(text) {
  if (!['1', '3'].includes(text)) throw new Error('1 or 3');
  return Number(text);
}

async function main() {
  const options = readOptions(OPTIONS, {
    usage:
      'usage: node simulator/station/main.js --root FOLDER [OPTION]...\n\nThe sibling processes of secc and its supervisor. Commands are read from standard input.',
    footer: `\nCommands:\n${makeCommands(null).help()}\n`,
  });
  if (!options) return;
  if (!options.root) refuse('--root is missing');
  const station = new Station({
    root: options.root,
    phases: options.phases,
    maxCurrent: options.current * 1000,
    fixedCable: options['fixed-cable'],
    autoAuthorize: options.free,
    signed: options.signed,
    drive: !options.watch,
  });
  if (!options.quiet) station.on('log', (text) => console.log(`${new Date().toISOString()} ${text}`));
  await station.start();
  const table = makeCommands(station);
  const control = options.http === undefined ? null : await serveCommands(table, { port: options.http });
  if (control) console.log(`JSON interface on http://127.0.0.1:${control.port}/`);

  const end = async () => {
    await control?.close();
    await station.stop();
    process.exit(0);
  };
  process.once('SIGINT', end);
  process.once('SIGTERM', end);
  await runRepl(table);
  // Without a terminal (started in the background) the end of standard input is no wish to end.
  if (process.stdin.isTTY) await end();
}

await main();
