// What the central system can be told from its command line and from its JSON interface.
import { CommandTable } from '../lib/commands.js';

function describeStation(link) {
  return {
    id: link.id,
    online: link.online,
    registration: link.registration,
    connection: link.connection,
    connections: link.connections.length,
    boot: link.boot,
    statuses: Object.fromEntries(link.statuses),
    overlaps: link.overlaps,
  };
}

function number(value, fallback) {
  return value === undefined ? fallback : Number(value);
}

function frameCommands(system, idOf) {
  return {
    call: {
      args: '<station|-> <action> [{json}]',
      help: 'send a CALL and show the answer; "-" is the only station online',
      run: (id, action, payload = {}) => system.call(idOf(id), action, payload, { unchecked: true }),
    },
    raw: {
      args: '<station|-> <text>',
      help: 'send any text as a frame',
      run: (id, text) => system.station(idOf(id)).sendRaw(typeof text === 'string' ? text : JSON.stringify(text)),
    },
  };
}

function answerCommands(system) {
  return {
    answer: {
      args: '<action> [{json}]',
      help: 'append to the script of answers to an action, as {"status": "Blocked", "times": 2} (README.md)',
      run: (action, steps) => system.answer(action, steps),
    },
    script: { args: '', help: 'show what is left of the scripts', run: () => system.scripts.describe() },
    clear: {
      args: '[<action>]',
      help: 'forget the script of an action, or all',
      run: (action) => system.scripts.clear(action),
    },
    boot: {
      args: '[{json}]',
      help: 'answers to the next BootNotifications, as [{"status": "Pending", "interval": 5}, {"status": "Accepted"}]',
      run: (answers) => system.setBoot(...[answers].flat()),
    },
    tag: {
      args: '<idTag> [{json}]',
      help: 'idTagInfo of a tag, as {"status": "Blocked"}',
      run: (tag, info) => {
        system.tags.set(tag, info);
      },
    },
  };
}

function connectionCommands(system, idOf) {
  return {
    door: {
      args: '[{json}]',
      help: 'how connections are met, as {"mode": "http", "status": 503, "times": 2}',
      run: (door) => system.setDoor(door),
    },
    password: {
      args: '<station> <hex>',
      help: 'let a station in with this password',
      run: (id, hex) => {
        system.passwords.set(id, hex);
      },
    },
    close: {
      args: '<station|-> [<code>] [<reason>]',
      help: 'close the websocket',
      run: (id, code, reason) => system.station(idOf(id)).close(number(code, 1000), reason),
    },
    cut: {
      args: '<station|->',
      help: 'break the TCP connection off',
      run: (id) => system.station(idOf(id)).terminate(),
    },
    freeze: {
      args: '<station|->',
      help: 'stop reading from a station',
      run: (id) => system.station(idOf(id)).freeze(),
    },
    thaw: { args: '<station|->', help: 'read again', run: (id) => system.station(idOf(id)).thaw() },
    down: { args: '', help: 'stop listening and cut everybody off', run: () => system.stop() },
    up: {
      args: '',
      help: 'listen again on the same port',
      run: async () => {
        await system.start();
      },
    },
  };
}

function recordCommands(system) {
  return {
    book: {
      args: '',
      help: 'the account book, and whether it balances',
      run: () => system.book.check({ allowOpen: true }),
    },
    log: {
      args: '[<count>]',
      help: 'the last frames',
      run: (count) =>
        system.log.frames
          .slice(-number(count, 20))
          .map((frame) => system.log.format(frame))
          .join('\n'),
    },
    violations: {
      args: '',
      help: 'frames against the standard',
      run: () => system.violations.map(({ station, text }) => ({ station, text })),
    },
  };
}

/** @param {import('./centralsystem.js').CentralSystem} system */
export function makeCommands(system) {
  const only = () => {
    const online = [...system.stations.values()].filter((link) => link.online);
    if (online.length !== 1)
      throw new Error(`name the station; online: ${online.map((link) => link.id).join(', ') || 'none'}`);
    return online[0].id;
  };
  const idOf = (id) => (id === undefined || id === '-' ? only() : id);
  return new CommandTable({
    state: {
      args: '',
      help: 'where it listens, and each station',
      run: () => ({
        url: system.url,
        ca: system.caFile,
        violations: system.violations.length,
        refusals: system.refusals,
        stations: [...system.stations.values()].map(describeStation),
      }),
    },
    ...frameCommands(system, idOf),
    ...answerCommands(system),
    ...connectionCommands(system, idOf),
    ...recordCommands(system),
  });
}
