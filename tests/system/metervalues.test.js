// Meter values: what is sampled, when, and in which transaction.
import fs from 'node:fs';
import { State } from '../../simulator/station/connector.js';
import { shiftedTo } from './lib/shiftedclock.js';
import { assert, pause, systemTest, theme, together } from './lib/world.js';

const REGISTER = 'Energy.Active.Import.Register';
// In an order of its own: that of the samples does not follow from it.
const ALL = [
  'Energy.Active.Import.Interval',
  'Energy.Active.Import.Register',
  'Voltage',
  'Temperature',
  'Power.Offered',
  'Power.Factor',
  'Power.Active.Import',
  'Frequency',
  'Current.Offered',
  'Current.Import',
].join(',');
// What the meter has counted before.
const REGISTER_WH = 7654;
const DAY_MS = 24 * 3600 * 1000;
// A timer may be this late on a busy machine.
const LATE_MS = 900;

function options(ocpp, more = {}) {
  return {
    ...more,
    settings: { ...more.settings, ocpp: { MinimumStatusDuration: 600, ...ocpp } },
    station: { autoAuthorize: true, times: { startingMs: 50, stoppingMs: 50 }, ...more.station },
  };
}

function golden(name) {
  return JSON.parse(fs.readFileSync(new URL(`golden/${name}.json`, import.meta.url), 'utf8'));
}

function meterValues(world, context) {
  return world.csms
    .calls('MeterValues')
    .filter(({ payload }) => payload.meterValue[0].sampledValue.every((sample) => sample.context === context));
}

/** Resolves with the first `count` MeterValues of that context. */
async function samples(world, context, count, { timeoutMs = 15000 } = {}) {
  await world.csms.waitFor(() => meterValues(world, context).length >= count, {
    timeoutMs,
    what: `${count} MeterValues of ${context}`,
  });
  return meterValues(world, context);
}

async function charge(world) {
  await world.station.waitFor(() => world.station.connector.approved, { timeoutMs: 5000, what: 'the approval' });
  world.station.plug();
  world.station.tag('A');
  await world.station.waitForState(State.Charging, { timeoutMs: 5000 });
}

async function stopCharging(world) {
  world.station.tag('A');
  return world.csms.waitForCall('StopTransaction', { timeoutMs: 5000 });
}

/** Online, and charging on two phases of a grid that is not quite even. */
async function chargeUnevenly(world) {
  const { station } = world;
  await world.start();
  await world.online();
  station.meter.setRegister(REGISTER_WH * 1000);
  station.meter.setVoltage([229000, 230500, 231000].slice(0, station.meter.phases));
  station.setVehicle({ current: 10500, phases: 2 });
  station.safety.setTemperatures({
    relay1_temperature: 40,
    relay2_temperature: 41.5,
    eld_temperature: null,
    mcu_temperature: 30,
  });
  await charge(world);
}

/** The first record in which current flows, its members against the golden list. */
async function isAsGolden(world, name) {
  const flows = ({ payload }) => payload.meterValue[0].sampledValue.some(({ value }) => value === '10.500');
  const [call] = await world.csms.waitFor(
    () => {
      const found = meterValues(world, 'Sample.Periodic').filter(flows);
      return found.length > 0 ? found : null;
    },
    { timeoutMs: 6000, what: 'a record with current' },
  );
  const { sampledValue } = call.payload.meterValue[0];
  const register = Number(sampledValue.find(({ measurand }) => measurand === REGISTER).value);
  const interval = Number(sampledValue.find(({ measurand }) => measurand === 'Energy.Active.Import.Interval').value);
  assert.ok(register >= REGISTER_WH && register <= world.station.meter.register / 1000, `register ${register}`);
  assert.ok(interval >= 0 && interval <= register - REGISTER_WH, `interval ${interval}`);
  const expected = golden(name).map((sample) => ({
    context: 'Sample.Periodic',
    format: 'Raw',
    ...sample,
    value: { register: String(register), interval: String(interval) }[sample.value] ?? sample.value,
  }));
  assert.deepEqual(sampledValue, expected);
}

const MARKED = { settings: { hwinfo: { HwHasEichrechtLaserMarking: true } }, station: { signed: true } };

/** A whole charge; gives the payload of its end. */
async function chargedOnce(world) {
  await world.start();
  await world.online();
  await charge(world);
  await pause(300);
  const { payload } = await stopCharging(world);
  return payload;
}

function times(world) {
  const { session_start_time: start, session_end_time: end } = world.station.meter.reading();
  return { start, end };
}

function registerSample(context, value) {
  return { context, format: 'Raw', location: 'Outlet', measurand: REGISTER, unit: 'Wh', value: String(value) };
}

together('meter values', () => {
  theme('what is sampled', () => {
    const EVERYTHING = { MeterValueSampleInterval: 1, MeterValuesSampledData: ALL };

    systemTest(
      'three phases: every measurand, in the golden order',
      options(EVERYTHING, { station: { phases: 3, powerFactor: 0.98 } }),
      async (world) => {
        await chargeUnevenly(world);
        await isAsGolden(world, 'metervalues-3-phases');
      },
    );

    systemTest(
      'one phase: every measurand, in the golden order',
      options(EVERYTHING, { station: { phases: 1, powerFactor: 0.98 } }),
      async (world) => {
        await chargeUnevenly(world);
        await isAsGolden(world, 'metervalues-1-phase');
      },
    );

    systemTest(
      'nothing configured: the register alone, from the start of the session at its interval to its end',
      options({ MeterValueSampleInterval: 1, MeterValuesSampledData: '' }),
      async (world) => {
        await world.start();
        await world.online();
        await charge(world);
        const calls = await samples(world, 'Sample.Periodic', 3);
        const started = world.csms.calls('StartTransaction')[0];
        for (const { payload } of calls) {
          assert.equal(payload.connectorId, 1);
          assert.equal(payload.transactionId, 1001);
          assert.deepEqual(
            payload.meterValue[0].sampledValue.map(({ measurand }) => measurand),
            [REGISTER],
          );
        }
        assert.ok(calls[0].time - started.time < 900, 'the first one comes at once');
        const took = calls[2].time - calls[0].time;
        assert.ok(Math.abs(took - 2000) < LATE_MS, `two intervals took ${took} ms`);
        const stop = await stopCharging(world);
        await pause(1500);
        assert.ok(
          world.csms.calls('MeterValues').every(({ index }) => index < stop.index),
          'none comes behind the end',
        );
      },
    );

    systemTest('an interval of 0 takes no samples', options({ MeterValueSampleInterval: 0 }), async (world) => {
      await world.start();
      await world.online();
      await charge(world);
      await pause(1500);
      await stopCharging(world);
      assert.deepEqual(world.csms.calls('MeterValues'), []);
    });
  });

  theme('clock-aligned values', () => {
    systemTest(
      'they lie on the boundary of their interval, outside a session without a transaction, within one with it',
      options({ ClockAlignedDataInterval: 3, MeterValueSampleInterval: 0, MeterValuesAlignedData: 'Voltage' }),
      async (world) => {
        await world.start();
        await world.online();
        await samples(world, 'Sample.Clock', 1);
        await charge(world);
        await world.csms.waitForCall('StartTransaction', { timeoutMs: 3000 });
        const calls = await samples(world, 'Sample.Clock', 3);
        for (const { payload } of calls) {
          assert.equal(Date.parse(payload.meterValue[0].timestamp) % 3000, 0, payload.meterValue[0].timestamp);
          assert.deepEqual(
            payload.meterValue[0].sampledValue.map(({ measurand, phase, unit }) => `${measurand} ${phase} ${unit}`),
            ['Voltage L1 V', 'Voltage L2 V', 'Voltage L3 V'],
          );
        }
        assert.equal('transactionId' in calls[0].payload, false);
        assert.equal(calls[2].payload.transactionId, 1001);
      },
    );

    systemTest(
      'over midnight: the last one of the day, midnight itself, and from there anew',
      options({ ClockAlignedDataInterval: 7 }),
      async (world) => {
        await world.station.start();
        const midnight = Math.ceil((Date.now() + 60000) / DAY_MS) * DAY_MS;
        // 7 does not divide the day: its last multiple comes 6 seconds before midnight.
        world.startSecc(shiftedTo(midnight - 13500, world.folder));
        await world.online();
        const calls = await samples(world, 'Sample.Clock', 3, { timeoutMs: 30000 });
        assert.deepEqual(
          calls.map(({ payload }) => Date.parse(payload.meterValue[0].timestamp) - midnight),
          [-6000, 0, 7000],
        );
        const [first, second, third] = calls.map(({ time }) => time);
        assert.ok(Math.abs(second - first - 6000) < 3 * LATE_MS, `${second - first} ms`);
        assert.ok(Math.abs(third - second - 7000) < 3 * LATE_MS, `${third - second} ms`);
      },
    );
  });

  theme('the data at the end of a transaction', () => {
    systemTest(
      'signed data on: the record as the meter gave it, and nothing else',
      options({ EichrechtSupportEnabled: true }, MARKED),
      async (world) => {
        const { transactionData } = await chargedOnce(world);
        const { signed_data: signed } = world.station.meter.reading();
        assert.match(signed, /^SIM\|/);
        assert.deepEqual(transactionData, [
          {
            timestamp: times(world).end,
            sampledValue: [{ context: 'Transaction.End', format: 'SignedData', value: signed }],
          },
        ]);
      },
    );

    systemTest(
      'signed data beside the readings of start and end',
      options({ EichrechtSupportEnabled: true, StopTxnSampledData: REGISTER }, MARKED),
      async (world) => {
        const { transactionData, meterStop } = await chargedOnce(world);
        const { signed_data: signed } = world.station.meter.reading();
        assert.deepEqual(transactionData, [
          { timestamp: times(world).start, sampledValue: [registerSample('Transaction.Begin', 0)] },
          {
            timestamp: times(world).end,
            sampledValue: [
              registerSample('Transaction.End', meterStop),
              { context: 'Transaction.End', format: 'SignedData', value: signed },
            ],
          },
        ]);
      },
    );

    systemTest(
      'signed data off at a marked station: the readings alone, although the meter signs',
      options({ EichrechtSupportEnabled: false, StopTxnSampledData: REGISTER }, MARKED),
      async (world) => {
        const { transactionData, meterStop } = await chargedOnce(world);
        assert.deepEqual(transactionData, [
          { timestamp: times(world).start, sampledValue: [registerSample('Transaction.Begin', 0)] },
          { timestamp: times(world).end, sampledValue: [registerSample('Transaction.End', meterStop)] },
        ]);
      },
    );

    systemTest(
      'signed data on at a station without the marking: none, although the meter signs',
      options({ EichrechtSupportEnabled: true }, { station: { signed: true } }),
      async (world) => {
        const payload = await chargedOnce(world);
        assert.equal('transactionData' in payload, false);
      },
    );

    systemTest(
      'signed data on, and the meter signs nothing: the end is told of all the same',
      options({ EichrechtSupportEnabled: true }, { ...MARKED, station: {} }),
      async (world) => {
        const payload = await chargedOnce(world);
        assert.equal('transactionData' in payload, false);
        await world.secc.waitForLine('[1] StopTransaction: Signed data requested but missing in MeterData');
      },
    );
  });
});
