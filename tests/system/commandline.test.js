// The command line.
import { assert, systemTest, theme } from './lib/world.js';

const USAGE = (root) => [
  'usage: /secc [OPTION]',
  '  -v, --verbose    increase verbosity  -q, --quiet      disable logging to console',
  '  -r, --root=PATH  set the filesystem root directory',
  `                   defaults to '${root}'`,
  '  -h, --help       show this help message and exit',
];

/** Runs it to its end and gives its outcome. */
async function run(world, args) {
  world.allowEnded = true;
  const secc = world.startSecc({ args });
  const timer = setTimeout(() => secc.kill(), 5000);
  const outcome = await secc.exited;
  clearTimeout(timer);
  return { ...outcome, lines: secc.lines };
}

function holds(lines, part) {
  return lines.join('\n').includes(part.join('\n'));
}

theme('command line', () => {
  for (const args of [['-h'], ['--help'], ['-s'], ['-x'], ['--no-such-option'], ['-r'], ['-v', '-h']]) {
    systemTest(`${args.join(' ')} prints the usage and ends with status 1`, {}, async (world) => {
      const { status, lines } = await run(world, args);
      assert.equal(status, 1);
      assert.ok(holds(lines, USAGE('/')), lines.join('\n'));
    });
  }

  systemTest('the usage names the root that was given before it', {}, async (world) => {
    const { status, lines } = await run(world, ['-r', '/station/', '-h']);
    assert.equal(status, 1);
    assert.ok(holds(lines, USAGE('/station/')), lines.join('\n'));
  });

  systemTest('a root without its trailing slash is joined without one', {}, async (world) => {
    // Without its configuration it is free to end; the path that it looks for is what counts here.
    world.allowEnded = true;
    world.allowAlarms = true;
    world.startSecc({ args: ['-v', '-r', '/station'] });
    await world.secc.waitForLine('/stationetc/iipc.json');
  });

  systemTest('--root=PATH and --verbose are the long forms', {}, async (world) => {
    await world.station.start();
    world.startSecc({ args: ['--verbose', '--root=/station/'] });
    await world.online();
  });

  systemTest('-q keeps the console quiet', {}, async (world) => {
    await world.station.start();
    world.startSecc({ args: ['-q', '-r', '/station/'] });
    await world.online();
    assert.deepEqual(world.secc.lines, []);
  });

  systemTest('the default level is info, -v adds debug, -v -v adds trace', {}, async (world) => {
    await world.station.start();
    const debug = 'OCPP websocket starts (re)connecting';
    const trace = 'State Uninitialized: entry';
    const seen = {};
    for (const [name, flags] of Object.entries({ info: [], debug: ['-v'], trace: ['-v', '-v'] })) {
      world.startSecc({ args: [...flags, '-r', '/station/'] });
      await world.csms.waitFor(() => world.link.online, { timeoutMs: 20000, what: 'a connection' });
      await world.interruptCleanly();
      await world.csms.waitFor(() => !world.link.online, { timeoutMs: 5000, what: 'the end of the connection' });
      const log = world.secc.lines.join('\n');
      seen[name] = [log.includes('Starting state machine'), log.includes(debug), log.includes(trace)];
    }
    world.allowEnded = true;
    assert.deepEqual(seen, { info: [true, false, false], debug: [true, true, false], trace: [true, true, true] });
  });

  systemTest('each line names its source', {}, async (world) => {
    await world.start();
    await world.online();
    const line = await world.secc.waitForLine('Starting state machine');
    assert.match(line, /\(src\/secc\/\w+\.cpp:\d+\) Starting state machine/);
  });
});
