// Siblings that are absent, die, come back, answer wrongly or never.
import { spawn } from 'node:child_process';
import path from 'node:path';
import { REPOSITORY } from '../../simulator/lib/packages.js';
import { assert, ONLINE_MS, pause, systemTest, theme } from './lib/world.js';

/** Services whose notifications the process listens to. */
const STREAMS = [
  'BoardControl',
  'ChargeControlBasicCharge',
  'Diagnostics',
  'SafetyMcuComm',
  'SessionManager',
  'SessionManagerAuth',
];
const SERVICES = [...STREAMS, 'CurrentControl', 'Feedback', 'Meter'];
// A second is promised, and the IPC library's own tests hold it to that; here other tests share the processors.
const RENEWAL_MS = 3000;

theme('siblings that go and come', () => {
  for (const name of SERVICES) {
    systemTest(`${name} killed and back`, {}, async (world) => {
      world.csms.setBoot({ status: 'Accepted', interval: 1 });
      await world.start();
      await world.online();
      const server = world.station.servers[name];
      if (STREAMS.includes(name))
        await world.station.waitFor(() => server.subscribers.length === 1, { timeoutMs: 5000, what: 'its stream' });
      await server.kill();
      await world.nextHeartbeat();
      await pause(1500);
      await world.answers();
      await server.start();
      if (STREAMS.includes(name))
        await world.station.waitFor(() => server.subscribers.length === 1, {
          timeoutMs: RENEWAL_MS,
          what: 'its stream again',
        });
      await world.nextHeartbeat();
    });
  }

  systemTest('notifications of a sibling that was restarted have their effect again', {}, async (world) => {
    await world.start();
    await world.online();
    const server = world.station.servers.BoardControl;
    await server.kill();
    await pause(500);
    await server.start();
    await world.station.waitFor(() => server.subscribers.length === 1, {
      timeoutMs: RENEWAL_MS,
      what: 'its stream again',
    });
    world.station.board.loseMains();
    await world.csms.waitFor(() => !world.link.online, { timeoutMs: 3000, what: 'the end of the link' });
  });

  systemTest(
    'all siblings absent at the start: the station comes online all the same, and finds them later',
    { timeoutMs: 60000 },
    async (world) => {
      await world.start({ siblings: false });
      await world.online({ timeoutMs: 40000 });
      await Promise.all(Object.values(world.station.servers).map((server) => server.start()));
      for (const name of STREAMS) {
        const server = world.station.servers[name];
        await world.station.waitFor(() => server.subscribers.length === 1, {
          timeoutMs: 2 * RENEWAL_MS,
          what: `the stream of ${name}`,
        });
      }
    },
  );

  systemTest(
    'the session manager learns whether charging is allowed: not before the acceptance, then it is',
    {},
    async (world) => {
      world.csms.setBoot({ status: 'Pending', interval: 2 }, { status: 'Accepted', interval: 300 });
      await world.start();
      await world.online();
      const { calls } = world.station.servers.SessionManager;
      await world.station.waitFor(() => world.station.connector.approved, { timeoutMs: 5000, what: 'the approval' });
      const approvals = calls
        .filter(({ method }) => method === 'SetExternalChargeApproval')
        .map(({ request }) => request.approved);
      assert.deepEqual(approvals, [false, false, true]);
    },
  );
});

const MISBEHAVIOUR = {
  'never answers': { silence: true, times: 0 },
  'answers with errors': { error: { code: 'INTERNAL', message: 'broken' }, times: 0 },
  'answers late': { delayMs: 1000, times: 0 },
  'answers garbage': {
    answer: { result: 4711, request_id: 'x'.repeat(5000), state: 99, energy_register: -1 },
    times: 0,
  },
};

theme('siblings that misbehave', () => {
  for (const [what, script] of Object.entries(MISBEHAVIOUR)) {
    systemTest(
      `the session manager ${what}: the station comes online and answers`,
      { timeoutMs: 90000 },
      async (world) => {
        for (const method of ['SetExternalChargeApproval', 'GetConnectorInfo', 'SetMessageStorageAvailable'])
          world.station.servers.SessionManager.script(method, script);
        await world.start();
        await world.online({ timeoutMs: 60000 });
        await world.answers();
      },
    );

    systemTest(`diagnostics ${what}: the station comes online and answers`, { timeoutMs: 90000 }, async (world) => {
      for (const method of ['SendSignal', 'GetSignal', 'GetActiveErrors', 'GetActiveWarnings'])
        world.station.servers.Diagnostics.script(method, script);
      await world.start();
      await world.online({ timeoutMs: 60000 });
      await world.answers();
    });
  }

  systemTest('notifications that make no sense are survived', {}, async (world) => {
    await world.start();
    await world.online();
    const { servers } = world.station;
    await world.station.waitFor(() => STREAMS.every((name) => servers[name].subscribers.length === 1), {
      timeoutMs: 5000,
      what: 'all streams',
    });
    for (const name of STREAMS) servers[name].notify({});
    servers.SessionManager.notify({ state_changed: { state: 77 } });
    servers.Diagnostics.notify({ signal_report: { type: { type: 9 } } });
    servers.Diagnostics.notify({ signal_report: { signal: { identifier: 1 }, type: { type: 9 } } });
    servers.Diagnostics.notify({ freeze_frame_done: { file_name: '/data/log/never-asked-for' } });
    servers.BoardControl.notify({ fw_update_status: { status: 4711 } });
    await pause(500);
    await world.answers();
  });

  systemTest('signal 10000 tells of the lost link and of its return', {}, async (world) => {
    await world.start();
    await world.online();
    const lost = () => world.station.diagnostics.last(10000)?.bool_values?.[0];
    await world.station.waitFor(() => lost() === false || lost() === undefined, {
      timeoutMs: ONLINE_MS,
      what: 'no warning',
    });
    world.link.terminate();
    await world.station.waitFor(() => lost() === true, { timeoutMs: 3000, what: 'the warning' });
    await world.station.waitFor(() => lost() === false, { timeoutMs: 15000, what: 'its end' });
  });
});

/** The siblings as a process of their own, which can be stopped and killed as real ones. */
function siblingProcess(world) {
  const program = path.join(REPOSITORY, 'simulator/station/main.js');
  const child = spawn(process.execPath, [program, '--root', world.root.folder, '--quiet'], {
    stdio: ['ignore', 'ignore', 'inherit'],
  });
  world.atEnd(() => child.kill('SIGKILL'));
  return child;
}

theme('all siblings at once, as processes', () => {
  systemTest('frozen for a while: the heartbeat goes on, and so does the station afterwards', {}, async (world) => {
    world.csms.setBoot({ status: 'Accepted', interval: 1 });
    const siblings = siblingProcess(world);
    world.startSecc();
    await world.online();
    siblings.kill('SIGSTOP');
    for (let beat = 0; beat < 3; beat += 1) await world.nextHeartbeat({ timeoutMs: 5000 });
    await world.answers();
    siblings.kill('SIGCONT');
    await pause(1000);
    await world.answers();
  });

  systemTest('killed and started again: the new supervisor finds the process as it is', {}, async (world) => {
    world.csms.setBoot({ status: 'Accepted', interval: 1 });
    const first = siblingProcess(world);
    world.startSecc();
    await world.online();
    first.kill('SIGKILL');
    await world.nextHeartbeat();
    await world.station.start();
    await world.station.waitForEnabled({ timeoutMs: 5000 });
    assert.deepEqual(world.station.supervisor.reports, ['Enabled']);
    assert.equal(world.boots().length, 1);
  });
});
