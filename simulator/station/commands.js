// What the simulated station can be told from its command line and from its JSON interface.
import { CommandTable } from '../lib/commands.js';
import { enumeration } from '../lib/iipc.js';
import { Kind } from './diagnostics.js';
import { StopReason } from './connector.js';

const flag = (text) => {
  if (['on', 'true', '1', true].includes(text)) return true;
  if (['off', 'false', '0', false].includes(text)) return false;
  throw new Error(`"on" or "off" expected, not "${text}"`);
};

function signalNumber(text) {
  const number = Number(text);
  if (Number.isInteger(number)) return number;
  const found = enumeration('ESignalIdentifier')[text];
  if (found === undefined) throw new Error(`unknown signal "${text}"`);
  return found;
}

function driverCommands(station) {
  return {
    plug: {
      args: '[<ampere>]',
      help: 'plug a cable in that may carry 13, 20, 32 or 63 A',
      run: (rating = 32) => station.plug(Number(rating)),
    },
    unplug: { args: '', help: 'take the cable out', run: () => station.unplug() },
    tag: { args: '<token>', help: 'present a tag', run: (token) => station.tag(token) },
    ev: {
      args: 'on|off',
      help: 'the vehicle takes energy, or not',
      run: (text) => station.connector.setEvReady(flag(text)),
    },
    evse: {
      args: 'on|off',
      help: 'the station gives energy, or not',
      run: (text) => station.connector.setEvseReady(flag(text)),
    },
    vehicle: {
      args: '<mA> [<phases>]',
      help: 'what the vehicle draws at most',
      run: (current, phases = 3) => station.setVehicle({ current: Number(current), phases: Number(phases) }),
    },
  };
}

function diagnosticsCommands(station) {
  return {
    fault: {
      args: '<signal>',
      help: 'raise an error at the connector, which becomes Faulted',
      run: (signal) => station.raiseFault(signalNumber(signal)),
    },
    nofault: { args: '<signal>', help: 'clear it', run: (signal) => station.clearFault(signalNumber(signal)) },
    raise: {
      args: '<signal> [<connector>]',
      help: 'raise an error or warning at the diagnostics process alone',
      run: (signal, connector = 0) => station.diagnostics.raise(signalNumber(signal), { connector: Number(connector) }),
    },
    clear: {
      args: '<signal> [<connector>]',
      help: 'clear it',
      run: (signal, connector = 0) => station.diagnostics.clear(signalNumber(signal), { connector: Number(connector) }),
    },
    event: {
      args: '<signal> [<text>]',
      help: 'report a security event',
      run: (signal, text = '') => station.diagnostics.raise(signalNumber(signal), { text }),
    },
    active: {
      args: '',
      help: 'errors and warnings that are raised',
      run: () => ({
        errors: station.diagnostics.active(Kind.Error),
        warnings: station.diagnostics.active(Kind.Warning),
      }),
    },
    signals: { args: '', help: 'last value of every signal', run: () => station.diagnostics.all() },
  };
}

function connectorCommands(station) {
  return {
    operative: {
      args: 'on|off',
      help: 'take the connector into or out of service',
      run: (text) => station.connector.setOperative(flag(text)),
    },
    reserve: {
      args: '<token> <id> <seconds>',
      help: 'reserve the connector',
      run: (idTag, id, seconds) =>
        station.connector.reserve({ idTag, id: Number(id), until: station.clock.now() + Number(seconds) * 1000 }),
    },
    unlock: { args: '', help: 'unlock the plug', run: () => station.connector.unlock() },
    approve: {
      args: 'on|off',
      help: 'the central system lets the station charge, or not, as secc tells it',
      run: (text) => station.approve(flag(text)),
    },
    storage: {
      args: 'on|off',
      help: 'transactions can be stored, or not, as secc tells it',
      run: (text) => station.connector.setStorageAvailable(flag(text)),
    },
    parent: {
      args: '<id>',
      help: "the group of the session's tag, as secc tells it",
      run: (id) => station.connector.setParentId(id),
    },
    deauthorize: {
      args: '<reason>',
      help: 'as secc does it, by the number of the reason',
      run: (reason) => station.connector.deauthorize(Number(reason)),
    },
    stop: {
      args: '<reason>',
      help: `end the session from the inside: ${Object.keys(StopReason).join(', ')}`,
      run: (reason) => {
        if (!(reason in StopReason)) throw new Error(`unknown reason "${reason}"`);
        station.connector.stop(StopReason[reason]);
      },
    },
  };
}

function boardCommands(station) {
  return {
    temperatures: {
      args: '[{json}]',
      help: 'of the safety controller, as {"relay1_temperature": 41.5}',
      run: (values) => station.safety.setTemperatures(values),
    },
    mains: { args: '', help: 'lose the mains', run: () => station.board.loseMains() },
    firmware: {
      args: '<outcome>',
      help: 'EFwUpdateStatus with which the next installation ends',
      run: (outcome) => {
        station.board.firmwareOutcome = Number(outcome);
      },
    },
    refuse: {
      args: '<count>',
      help: 'refuse that many resets',
      run: (count) => {
        station.board.refuseResets = Number(count);
      },
    },
  };
}

function serviceCommands(station) {
  const server = (name) => {
    if (!station.servers[name]) throw new Error(`services: ${Object.keys(station.servers).join(', ')}`);
    return station.servers[name];
  };
  return {
    kill: { args: '<service>', help: 'end a sibling at once', run: (name) => server(name).kill() },
    revive: { args: '<service>', help: 'start it again', run: (name) => server(name).start() },
    script: {
      args: '<service> <method> [{json}]',
      help: 'what a method does next: {"delayMs": 2000}, {"silence": true}, {"error": {"code": "INTERNAL"}}, {"answer": {}}',
      run: (name, method, script) => server(name).script(method, script),
    },
    calls: {
      args: '<service> [<count>]',
      help: 'the last requests to a service',
      run: (name, count = 20) => server(name).calls.slice(-Number(count)),
    },
  };
}

function supervisorCommands(station) {
  return {
    enable: { args: '', help: 'tell secc to work', run: () => station.supervisor.enable() },
    disable: {
      args: '',
      help: 'tell secc to stop working, and leave it so',
      run: () => {
        station.supervisor.release();
        return station.supervisor.disable();
      },
    },
  };
}

/** @param {import('./station.js').Station} station */
export function makeCommands(station) {
  return new CommandTable({
    state: {
      args: '',
      help: 'connector, meter, limit, services, and secc as its supervisor sees it',
      run: () => station.describe(),
    },
    ...driverCommands(station),
    ...diagnosticsCommands(station),
    ...connectorCommands(station),
    ...boardCommands(station),
    ...serviceCommands(station),
    ...supervisorCommands(station),
  });
}
