import assert from 'node:assert/strict';
import fs from 'node:fs';
import os from 'node:os';
import path from 'node:path';
import { beforeEach, afterEach, test } from 'node:test';
import { SERVICES } from '../lib/iipc.js';
import { pause } from '../lib/waiting.js';
import { State, StopReason } from '../station/connector.js';
import { Station } from '../station/station.js';
import { FakeSecc } from './fakesecc.js';

const TIMES = { startingMs: 20, stoppingMs: 20, sureMs: 1000, lateMs: 60, approvalMs: 0 };

let root;
let station;
let secc;

beforeEach(async () => {
  root = fs.mkdtempSync(path.join(os.tmpdir(), 'station-'));
  fs.mkdirSync(path.join(root, 'etc'));
  const services = Object.fromEntries(Object.keys(SERVICES).map((name) => [name, `unix:run/${name}.sock`]));
  fs.writeFileSync(path.join(root, 'etc/iipc.json'), JSON.stringify({ services }));
  station = await new Station({ root, times: TIMES }).start();
  secc = await new FakeSecc(root).start();
});

afterEach(async () => {
  await secc.kill();
  await station.stop();
  fs.rmSync(root, { recursive: true });
});

async function until(probe, what) {
  for (let turn = 0; turn < 500; turn += 1) {
    if (probe()) return;
    await pause(10);
  }
  assert.fail(`waited in vain for ${what}`);
}

/** What was told of sessions is surely taken. */
async function sure() {
  await until(() => station.sessionEvents.pending === 0, 'the events to be taken');
}

/** Another process in place of the one that is killed; `meanwhile` happens while there is none. */
async function restartSecc(meanwhile = () => {}) {
  await secc.kill();
  await station.waitFor(() => !station.supervisor.isEnabled);
  await meanwhile();
  secc = await new FakeSecc(root).start();
  await station.waitForEnabled();
}

/** A session without secc's doing, as by a remote start. */
async function chargeByHandle(token) {
  const requestId = station.connector.authorizeHandle();
  assert.ok(station.connector.answer({ requestId, approved: true, token }));
  await station.waitForState(State.Charging);
}

/** Enabled, approved, every stream open. */
async function ready() {
  await station.waitForEnabled();
  await until(() => Object.values(station.servers).every((server) => server.subscribers.length === 1), 'all streams');
  await secc.call('SessionManager', 'SetExternalChargeApproval', { approved: true });
}

async function charge() {
  station.plug();
  station.tag('A');
  await until(() => secc.of('authorize_id').length > 0, 'the request');
  const { request } = secc.of('authorize_id').at(-1);
  await secc.call('SessionManager', 'HandleAuthorizeRequest', { ...request, approved: 1, parent_id: 'G' });
  await station.waitForState(State.Charging);
}

test('the supervisor takes the process through Disable and Enable, and again after a restart', async () => {
  await station.waitForEnabled();
  assert.deepEqual(
    station.supervisor.reports.filter((text, index, all) => text !== all[index - 1]),
    ['Uninitialized', 'Disabled', 'Enabled'],
  );
  await secc.kill();
  await station.waitFor(() => !station.supervisor.isEnabled);
  secc = await new FakeSecc(root).start();
  await station.waitForEnabled();
});

test('a supervisor that only watches sends nothing', async () => {
  await station.waitForEnabled();
  station.supervisor.release();
  await station.supervisor.disable();
  await pause(100);
  assert.equal(secc.state, 2);
  assert.equal(await station.supervisor.enable(), 0);
});

test('a charge over the wire: request, start with a reading, values that ascend, stop with start and end', async () => {
  await ready();
  await charge();
  assert.equal((await secc.call('SessionManager', 'GetConnectorInfo', { connector: 1 })).id_tag, 'A');
  const [start] = secc.of('session_started');
  const first = await secc.call('Meter', 'GetMeterData', {});
  assert.deepEqual(first.current, [16000, 16000, 16000]);
  await pause(60);
  const second = await secc.call('Meter', 'GetMeterData', {});
  assert.ok(second.energy_register > first.energy_register && first.energy_register >= start.energy_register);
  station.tag('A');
  await until(() => secc.of('session_stopped').length === 1, 'the end');
  const [{ meter_data: end, reason }] = secc.of('session_stopped');
  assert.equal(reason, StopReason.Local);
  assert.equal(end.session_start_energy, start.energy_register);
  assert.ok(end.session_end_energy >= second.energy_register);
  await until(() => secc.of('state_changed').at(-1).state === State.Finishing, 'the last state');
  assert.deepEqual(
    secc
      .of('state_changed')
      .map(({ state }) => state)
      .filter((state, index, all) => state !== all[index - 1]),
    [1, 4, 11, 6, 12, 9],
  );
});

test('limits of the central system reach the vehicle, and one below 6 A suspends', async () => {
  await ready();
  await charge();
  assert.deepEqual(await secc.call('CurrentControl', 'SetLimit', { source: 10, current: 8000, phases: 1 }), {
    result: 0,
  });
  assert.deepEqual((await secc.call('Meter', 'GetMeterData', {})).current, [8000, 0, 0]);
  await secc.call('CurrentControl', 'SetLimit', { source: 10, current: 0, phases: 3 });
  assert.equal(station.connector.state, State.SuspendedByEvse);
  await secc.call('CurrentControl', 'ClearLimit', { source: 10 });
  assert.equal(station.connector.state, State.Charging);
  assert.deepEqual(
    await secc.call('CurrentControl', 'SetLimit', { source: 10 }),
    { result: 1 },
    'without a current it is invalid',
  );
});

test('errors, warnings and events reach the subscribers once, and the lists keep their order', async () => {
  await ready();
  station.diagnostics.raise(1001, { connector: 1 });
  station.diagnostics.raise(1001, { connector: 1 });
  station.diagnostics.raise(1000, { connector: 1 });
  station.diagnostics.raise(10301);
  station.diagnostics.raise(20006, { text: 'lid open' });
  await secc.call('Diagnostics', 'SendSignal', { identifier: 10000, bool_values: [true] });
  await until(() => secc.of('signal_report').length === 5, 'five reports');
  assert.deepEqual(
    secc.of('signal_report').map(({ signal, type }) => [signal.identifier, type.type]),
    [
      [1001, 0],
      [1000, 0],
      [10301, 1],
      [20006, 2],
      [10000, 1],
    ],
  );
  const errors = await secc.call('Diagnostics', 'GetActiveErrors', {});
  assert.deepEqual(
    errors.signals.map(({ identifier, connector }) => [identifier, connector]),
    [
      [1001, 1],
      [1000, 1],
    ],
  );
  station.diagnostics.clear(1001, { connector: 1 });
  assert.equal((await secc.call('Diagnostics', 'GetActiveErrors', {})).signals.length, 1);
  assert.deepEqual((await secc.call('Diagnostics', 'GetSignal', { identifier: 20006 })).signal.string_values, [
    'lid open',
  ]);
  assert.equal((await secc.call('Diagnostics', 'GetSignal', { identifier: 149 })).signal, undefined);
});

test('a freeze frame is written and told of, or not when it fails', async () => {
  await ready();
  await secc.call('Diagnostics', 'CreateFreezeFrame', { tag: 'OCPP GetDiagnostics' });
  await until(() => secc.of('freeze_frame_done').length === 1, 'the freeze frame');
  const [{ file_name: file }] = secc.of('freeze_frame_done');
  assert.match(file, /^\/data\/log\/freezeframe-/);
  assert.equal(JSON.parse(fs.readFileSync(path.join(root, file), 'utf8')).tag, 'OCPP GetDiagnostics');
  station.diagnostics.failFreezeFrames = true;
  await secc.call('Diagnostics', 'CreateFreezeFrame', { tag: 'x' });
  await until(() => secc.of('freeze_frame_done').length === 2, 'the failure');
  assert.equal(secc.of('freeze_frame_done')[1].file_name, '');
});

test('board control takes resets, refuses as many as told, installs and loses the mains', async () => {
  await ready();
  station.board.refuseResets = 1;
  station.board.installMs = 10;
  station.board.firmwareOutcome = 8;
  assert.deepEqual(await secc.call('BoardControl', 'Reset', { hard: false }), { result: 1 });
  assert.deepEqual(await secc.call('BoardControl', 'Reset', { hard: true }), { result: 0 });
  assert.deepEqual(
    station.board.resets.map(({ hard }) => hard),
    [true],
  );
  await secc.call('BoardControl', 'InstallFirmware', { initiator: 'OCPP' });
  station.board.loseMains();
  await until(() => secc.of('fw_update_status').length === 1, 'the end of the installation');
  assert.deepEqual(secc.of('fw_update_status'), [{ status: 8 }]);
  assert.equal(secc.of('mains_lost').length, 1);
});

test('temperatures, feedback and pilots', async () => {
  await ready();
  assert.equal(secc.of('mcu_temperatures').at(-1).mcu_temperature, 26);
  const before = secc.of('mcu_temperatures').length;
  station.safety.setTemperatures({ relay1_temperature: 61.5, mcu_temperature: null });
  await until(() => secc.of('mcu_temperatures').length > before, 'temperatures');
  assert.equal(secc.of('mcu_temperatures').at(-1).relay1_temperature, 61.5);
  assert.equal(secc.of('mcu_temperatures').at(-1)._mcu_temperature, undefined);
  await secc.call('Feedback', 'TriggerEvent', { event: { type: 3 } });
  assert.deepEqual(
    station.feedback.map(({ type }) => type),
    [3],
  );
  station.plug(20);
  assert.deepEqual(await secc.call('ChargeControlBasicCharge', 'GetPilotStates', {}), { cp_state: 2, pp_state: 2 });
});

test('a register that was given out is kept, also when the siblings are killed', async () => {
  await ready();
  await charge();
  await pause(50);
  const { energy_register: given } = await secc.call('Meter', 'GetMeterData', {});
  const kept = JSON.parse(fs.readFileSync(path.join(root, 'simulator.json'), 'utf8'));
  assert.ok(given > 0 && kept.meter.register >= given, `${kept.meter.register} is kept, ${given} was given out`);
});

test('an unlock is told by basic charge control', async () => {
  await ready();
  await secc.call('SessionManager', 'RequestUnlock', { connector: 0 });
  await until(() => secc.of('socket_unlocked').length === 1, 'the unlock');
  assert.equal(secc.of('socket_unlocked')[0].connector, 1);
});

test('a sibling that is killed ends its streams, and comes back for a subscriber that listens again', async () => {
  await ready();
  await station.servers.Meter.kill();
  await assert.rejects(secc.call('Meter', 'GetMeterData', {}));
  await station.servers.Meter.start();
  await until(() => station.servers.Meter.subscribers.length === 1, 'the stream');
  assert.equal((await secc.call('Meter', 'GetMeterData', {})).frequency, 50);
});

test('a scripted sibling answers late, never, wrongly or with an error', async () => {
  await ready();
  station.servers.Meter.script('GetMeterData', { answer: { energy_register: -5 } });
  station.servers.Meter.script('GetMeterData', { error: { code: 'RESOURCE_EXHAUSTED', message: 'busy' } });
  station.servers.Meter.script('GetMeterData', { silence: true });
  assert.equal((await secc.call('Meter', 'GetMeterData', {})).energy_register, -5);
  await assert.rejects(secc.call('Meter', 'GetMeterData', {}), /busy/);
  await assert.rejects(secc.siblings.Meter.call('GetMeterData', {}, { timeoutMs: 100 }), /DEADLINE/);
  assert.equal((await secc.call('Meter', 'GetMeterData', {})).frequency, 50);
  assert.throws(() => station.servers.Meter.script('NoSuch', {}), /GetMeterData/);
});

test('a session that begins while nobody listens is told once the process is enabled', async () => {
  await ready();
  await restartSecc(async () => {
    station.plug();
    await chargeByHandle('R');
  });
  await until(() => secc.of('session_started').length > 0, 'the start');
  await sure();
  assert.equal(secc.of('session_started').length, 1);
});

test('after a restart in the middle of a session its start is told again, with the reading of the start; its end once', async () => {
  await ready();
  await charge();
  const [start] = secc.of('session_started');
  await sure();
  await restartSecc();
  await until(() => secc.of('session_started').length === 1, 'the start again');
  assert.equal(secc.of('session_started')[0].energy_register, start.energy_register);
  await sure();
  await restartSecc(() => station.unplug());
  await until(() => secc.of('session_stopped').length === 1, 'the end');
  assert.equal(secc.of('session_started').length, 0);
  await sure();
  await restartSecc();
  await pause(100);
  assert.equal(secc.of('session_stopped').length, 0);
});

test('the end of a session that was told to a process killed at once is told again, word for word', async () => {
  await ready();
  await charge();
  await sure();
  station.tag('A');
  await until(() => secc.of('session_stopped').length === 1, 'the end');
  const [told] = secc.of('session_stopped');
  await restartSecc();
  await until(() => secc.of('session_stopped').length === 1, 'the end again');
  assert.deepEqual(secc.of('session_stopped'), [told]);
});

test('start and end within a moment before the kill are both told again, in order', async () => {
  await ready();
  await charge();
  station.tag('A');
  await until(() => secc.of('session_stopped').length === 1, 'the end');
  await restartSecc();
  await until(() => secc.of('session_stopped').length === 1, 'the end again');
  const kinds = secc.heard.map(({ kind }) => kind).filter((kind) => kind.startsWith('session_'));
  assert.deepEqual(kinds, ['session_started', 'session_stopped']);
});

test('before the process has told its approval it is told of no session', async () => {
  await ready();
  await secc.kill();
  await station.waitFor(() => !station.supervisor.isEnabled);
  station.plug();
  await chargeByHandle('R');
  secc = new FakeSecc(root);
  secc.tellsApproval = false;
  await secc.start();
  await station.waitForEnabled();
  await until(() => secc.of('state_changed').length > 0, 'the state');
  await pause(50);
  assert.equal(secc.of('session_started').length, 0);
  await secc.call('SessionManager', 'SetExternalChargeApproval', { approved: false });
  await until(() => secc.of('session_started').length === 1, 'the start');
});

test('what was told while the process was being disabled is told again when it is enabled', async () => {
  await ready();
  await charge();
  station.supervisor.release();
  await station.supervisor.disable();
  await station.waitFor(() => !station.supervisor.isEnabled);
  await station.supervisor.enable();
  await until(() => secc.of('session_started').length === 2, 'the start again');
});

test('sessions that came and went without the process are told in order, each under its own identification', async () => {
  await ready();
  station.plug();
  await restartSecc(async () => {
    await chargeByHandle('ONE');
    station.tag('one');
    await station.waitForState(State.Finishing);
    await chargeByHandle('TWO');
  });
  const tags = [];
  const ask = async (count) => {
    await until(() => secc.heard.filter(({ kind }) => kind.startsWith('session_')).length === count, `event ${count}`);
    tags.push((await secc.call('SessionManager', 'GetConnectorInfo', { connector: 1 })).id_tag);
  };
  for (const count of [1, 2, 3]) await ask(count);
  assert.deepEqual(tags, ['ONE', 'ONE', 'TWO']);
  const kinds = secc.heard.map(({ kind }) => kind).filter((kind) => kind.startsWith('session_'));
  assert.deepEqual(kinds, ['session_started', 'session_stopped', 'session_started']);
});

test('events that nobody took survive a restart of the siblings', async () => {
  await ready();
  await secc.kill();
  await station.waitFor(() => !station.supervisor.isEnabled);
  station.plug();
  await chargeByHandle('R');
  await station.stop();
  station = await new Station({ root, times: TIMES }).start();
  secc = await new FakeSecc(root).start();
  await until(() => secc.of('session_started').length === 1, 'the start');
});

test('a restart of the siblings keeps register, approval and session; the process hears of no second start', async () => {
  await ready();
  await charge();
  await sure();
  await station.stop();
  const { register } = station.meter;
  const old = station;
  station = await new Station({ root, times: TIMES }).start();
  assert.ok(station.meter.register <= register && station.meter.register > 0);
  await station.waitForState(State.Charging);
  await until(() => station.servers.SessionManager.subscribers.length === 1, 'the stream');
  await pause(50);
  assert.equal(secc.of('session_started').length, 1);
  assert.equal(station.connector.approved, true);
  assert.notEqual(old, station);
});
