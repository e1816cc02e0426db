#!/usr/bin/env node
// The demo: a station comes online, a driver charges, and another one while everything goes wrong. Starts a central system,
// a simulated station and `secc`, tells in order what the central system saw, closes the operator's books, and ends with
// status 0 when all of it happened and the books balance. `tools/demo` installs and builds, then runs this.
import fs from 'node:fs';
import path from 'node:path';
import { CentralSystem } from '../csms/centralsystem.js';
import { makeCommands as makeCentralCommands } from '../csms/commands.js';
import { serveCommands } from '../lib/commands.js';
import { readHex, readOptions, refuse } from '../lib/options.js';
import { REPOSITORY } from '../lib/packages.js';
import { StationRoot, seccProgram } from '../lib/stationroot.js';
import { makeCommands as makeStationCommands } from '../station/commands.js';
import { Station } from '../station/station.js';
import { tellBlackout } from './blackout.js';
import { closeBooks } from './books.js';
import { DRIVER, LISTED_DRIVER, SAMPLE_SECONDS, tellCharge } from './charge.js';
import { HEARTBEAT_SECONDS, tellOnline, tellRefusals, waitForApproval } from './online.js';
import { Story } from './story.js';

const FOLDER = path.join(REPOSITORY, 'build/demo');
const STATION_ID = 'DEMO-1';
const PASSWORD = '64656d6f2d70617373776f7264';
const STOP_MS = 5000;

const OPTIONS = {
  keep: { type: 'boolean', help: 'leave it running, and print how to talk to it' },
  csms: {
    type: 'string',
    value: 'URL',
    read: readUrl,
    help: "somebody's own central system, as wss://host:port/path (without the station id)",
  },
  id: { type: 'string', value: 'ID', default: STATION_ID, help: 'id of the station there' },
  password: { type: 'string', value: 'HEX', read: readHex, help: 'its password in hexadecimal digits' },
  ca: {
    type: 'string',
    value: 'FILE',
    read: readFile,
    help: 'certificate of the authority that the station must trust',
  },
};

function readUrl(text) {
  if (!/^(wss?:\/\/)?(\[[\da-fA-F:]+\]|[^\s/:]+)(:\d+)?(\/\S*)?$/.test(text)) throw new Error('wss://host:port/path');
  return text;
}

function readFile(text) {
  if (!fs.statSync(text, { throwIfNoEntry: false })?.isFile()) throw new Error('a file');
  return text;
}

/** What `secc` is configured with: the URI has no scheme. */
function settingsFor({ uri, id, password }) {
  return {
    settings: { SeccOcppActive: true, SeccOcppUri: uri },
    hwinfo: { CustomerId: id, ProductSn: 'SIM-000001', HwOneOrThreePhase: 3 },
    fwinfo: { FwIdent: 'demo' },
    secrets: { AuthorizationKey: password },
    ocpp: {
      MeterValueSampleInterval: SAMPLE_SECONDS,
      StopTxnSampledData: 'Energy.Active.Import.Register',
      LocalAuthListEnabled: true,
      LocalAuthorizeOffline: true,
      AllowOfflineTxForUnknownId: false,
    },
  };
}

/** Starts station and secc on a fresh root. */
async function startStation(story, { uri, id, password, trust }) {
  const root = new StationRoot(path.join(FOLDER, 'station'), { trust, settings: settingsFor({ uri, id, password }) });
  const station = await new Station({ root: root.folder }).start();
  const parts = { station, secc: null, startSecc: null };
  parts.startSecc = () => {
    parts.secc = root.startSecc({ program: seccProgram() });
    return parts.secc;
  };
  parts.startSecc();
  story.tell('Started secc and the simulated station around it.', { log: parts.secc.logFile });
  return parts;
}

async function stopStation(story, { station, secc }) {
  const outcome = await secc.interrupt({ timeoutMs: STOP_MS });
  story.expect(
    outcome.status === 0,
    `secc stopped on SIGINT with status ${outcome.status ?? `none (signal ${outcome.signal})`} after ${outcome.tookMs} ms.`,
  );
  await station.stop();
}

function printHowToTalk(system, stationPort, centralPort, secc) {
  console.log(`
It is left running; Ctrl-C ends it.
  wire log:         ${path.join(FOLDER, 'csms/wire.log')}
  log of secc:      ${secc.logFile}
  central system:   curl -d '{"args": ["-", "GetLocalListVersion", {}]}' http://127.0.0.1:${centralPort}/call
  a charge:         curl -d '{"args": ["${DRIVER}"]}' http://127.0.0.1:${stationPort}/tag
                    curl -d '{}' http://127.0.0.1:${stationPort}/plug
  all commands:     curl http://127.0.0.1:${centralPort}/  and  curl http://127.0.0.1:${stationPort}/`);
}

async function untilInterrupted(secc) {
  await Promise.race([
    new Promise((resolve) => {
      process.once('SIGINT', resolve);
      process.once('SIGTERM', resolve);
    }),
    secc.exited,
  ]);
}

async function ownCentralSystem(story, keep) {
  fs.rmSync(path.join(FOLDER, 'csms/wire.log'), { force: true });
  console.log('A charging station, its operator, and secc between them, all on this machine.');
  const system = await new CentralSystem({
    state: path.join(FOLDER, 'csms'),
    stations: { [STATION_ID]: PASSWORD },
  }).start();
  system.setBoot({ status: 'Accepted', interval: HEARTBEAT_SECONDS });
  story.tell('Started a central system.', { url: `${system.url}/${STATION_ID}` });
  const parts = await startStation(story, {
    uri: system.uri,
    id: STATION_ID,
    password: PASSWORD,
    trust: [system.caFile],
  });
  try {
    await tellOnline(story, system, STATION_ID, parts.station);
    await tellRefusals(story, system, STATION_ID);
    await waitForApproval(parts.station);
    await tellCharge(story, system, STATION_ID, parts.station);
    await tellBlackout(story, system, STATION_ID, parts);
    closeBooks(story, system, [DRIVER, LISTED_DRIVER]);
    story.chapter('Epilogue');
    if (keep) {
      const central = await serveCommands(makeCentralCommands(system));
      const siblings = await serveCommands(makeStationCommands(parts.station));
      printHowToTalk(system, siblings.port, central.port, parts.secc);
      await untilInterrupted(parts.secc);
      await Promise.all([central.close(), siblings.close()]);
    }
    await stopStation(story, parts);
    story.expect(
      system.violations.length === 0,
      `Every frame was valid by the published schemas (${system.log.frames.length} frames, ${system.violations.length} violations).`,
    );
  } finally {
    await parts.secc.kill();
    await parts.station.stop();
    await system.stop();
  }
}

/**
 * The station talks to a central system that we know nothing of: the story is told from secc's own log. It ends with the
 * registration, because which tags may charge there, and when its link may be cut, is not ours to say; with --keep the
 * reader, the cable and the rest of the station can be worked by hand.
 */
async function foreignCentralSystem(story, { csms, id, password, ca, keep }) {
  const uri = csms.replace(/^wss?:\/\//, '').replace(/\/$/, '');
  const parts = await startStation(story, { uri, id, password, trust: ca ? [path.resolve(ca)] : [] });
  const { secc, station } = parts;
  try {
    await station.waitForEnabled({ timeoutMs: 15000 });
    story.tell('Its supervisor took it through Disable and Enable.', { states: station.supervisor.reports.join(', ') });
    await secc.waitForLine('Websocket connection is opened', { timeoutMs: 60000 });
    story.tell('The station connected.', { url: `wss://${uri}/${id}` });
    const answer = await secc.waitForLine(/Status: OCPP (Accepted|Pending|Rejected)/, { timeoutMs: 60000 });
    story.tell('The central system answered its BootNotification.', { status: /Status: OCPP (\w+)/.exec(answer)[1] });
    if (keep) {
      const siblings = await serveCommands(makeStationCommands(station));
      console.log(
        `\nIt is left running; Ctrl-C ends it.\n  log of secc:   ${secc.logFile}\n  a charge:      curl -d '{"args": ["04C0FFEE01"]}' http://127.0.0.1:${siblings.port}/tag\n                 curl -d '{}' http://127.0.0.1:${siblings.port}/plug\n  all commands:  curl http://127.0.0.1:${siblings.port}/`,
      );
      await untilInterrupted(secc);
      await siblings.close();
    }
    await stopStation(story, parts);
  } finally {
    await secc.kill();
    await station.stop();
  }
}

async function main() {
  const options = readOptions(OPTIONS, {
    usage:
      'usage: tools/demo [OPTION]...\n\n' +
      'Shows a charging station coming online, a charge, and a charge with everything going wrong, and closes the books.\n' +
      'Without options it brings its own central system; with --csms it ends with the registration.',
  });
  if (!options) return;
  if (options.csms && !options.password) refuse('--csms needs --password');
  const story = new Story();
  try {
    if (options.csms) await foreignCentralSystem(story, options);
    else await ownCentralSystem(story, options.keep);
  } catch (error) {
    story.fail(error.message, path.join(FOLDER, 'station/secc.log'));
  }
  process.exit(story.end());
}

await main();
