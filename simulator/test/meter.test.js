import assert from 'node:assert/strict';
import { test } from 'node:test';
import { ManualClock } from '../lib/clock.js';
import { CurrentControl, SOURCE_CABLE, SOURCE_INSTALLATION, SOURCE_OCPP } from '../station/currentcontrol.js';
import { Meter } from '../station/meter.js';

const HOUR = 3600 * 1000;

test('three phases of 16 A at 230 V make 11.04 kWh in an hour, however often the meter is asked', () => {
  const clock = new ManualClock();
  const meter = new Meter({ clock });
  meter.setLoad([16000, 16000, 16000]);
  for (let turn = 0; turn < 3600 * 8; turn += 1) {
    clock.advance(125);
    meter.reading();
  }
  assert.ok(Math.abs(meter.register - 11040000) <= 1, `${meter.register}`);
});

test('one phase gives lists of one and a third of the energy', () => {
  const clock = new ManualClock();
  const meter = new Meter({ clock, phases: 1 });
  meter.setLoad([16000, 16000, 16000]);
  clock.advance(HOUR);
  const reading = meter.reading();
  assert.equal(reading.energy_register, 3680000);
  assert.deepEqual(
    [reading.current, reading.voltage, reading.power, reading.power_factor],
    [[16000], [230000], [3680], [1]],
  );
});

test('a change of the load counts from its moment on', () => {
  const clock = new ManualClock();
  const meter = new Meter({ clock, phases: 1 });
  meter.setLoad([10000]);
  clock.advance(HOUR);
  meter.setLoad([20000]);
  clock.advance(HOUR);
  meter.setLoad([]);
  clock.advance(HOUR);
  assert.equal(meter.register, 2300000 + 4600000);
});

test('the power factor lowers power and energy', () => {
  const clock = new ManualClock();
  const meter = new Meter({ clock, phases: 1, powerFactor: 0.5 });
  meter.setLoad([10000]);
  clock.advance(HOUR);
  assert.equal(meter.reading().power[0], 1150);
  assert.equal(meter.register, 1150000);
});

test('register and session survive a restart', () => {
  const clock = new ManualClock();
  const meter = new Meter({ clock });
  meter.setLoad([10000, 0, 0]);
  meter.startSession('A');
  clock.advance(HOUR);
  const again = new Meter({ clock, saved: JSON.parse(JSON.stringify(meter.save())) });
  assert.equal(again.register, 2300000);
  assert.equal(again.reading().session_start_energy, 0);
  clock.advance(HOUR);
  assert.equal(again.register, 2300000, 'nothing flows after a restart until a load is set');
});

test('a reading names the session start, and its end once it has ended', () => {
  const clock = new ManualClock();
  const meter = new Meter({ clock, signed: true });
  assert.equal(meter.reading().session_start_time, undefined);
  const start = meter.startSession('A');
  assert.deepEqual(
    [start.session_start_time, start.session_end_time, start.signed_data],
    ['2030-01-01T00:00:00Z', undefined, undefined],
  );
  meter.setLoad([16000, 16000, 16000]);
  clock.advance(HOUR);
  const end = meter.endSession();
  assert.deepEqual(
    [end.session_start_energy, end.session_end_energy, end.session_end_time],
    [0, 11040000, '2030-01-01T01:00:00Z'],
  );
  assert.match(end.signed_data, /^SIM\|.*"tag":"A"/);
  const { sessions, corrupted } = meter.storedSessions();
  assert.deepEqual(
    [sessions.length, sessions[0].session_number, sessions[0].auth_token, corrupted],
    [1, 1, 'A', [false]],
  );
});

test('the lowest limit wins and the fewest phases', () => {
  const control = new CurrentControl({ maxCurrent: 16000, phases: 3 });
  const seen = [];
  control.on('limit', ({ current, phases }) => seen.push([current, phases]));
  control.set({ source: SOURCE_CABLE, current: 32000 });
  control.set({ source: SOURCE_OCPP, current: 10000, phases: 1 });
  assert.deepEqual(control.limit, { source: SOURCE_OCPP, current: 10000, phases: 1 });
  control.set({ source: SOURCE_CABLE, current: 8000 });
  control.clear(SOURCE_OCPP);
  assert.deepEqual(seen, [
    [10000, 1],
    [8000, 1],
    [8000, 3],
  ]);
  assert.equal(control.set({ source: SOURCE_OCPP }), false, 'a limit without a current is none');
  assert.equal(control.clear(SOURCE_INSTALLATION), false);
});
