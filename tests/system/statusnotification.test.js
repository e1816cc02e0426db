// What the central systems are told of the connector's state: debounced, only where it differs, and the fatal path.
import { State } from '../../simulator/station/connector.js';
import { assert, pause, systemTest, theme } from './lib/world.js';

// They mostly wait.
const TOGETHER = { concurrency: 5 };

const GROUND_FAILURE = 1061;
const LOCK_FAILURE = 1000;
const FATAL = 1104;

function options(minimumStatusDuration, more = {}) {
  return {
    ...more,
    settings: { ocpp: { MinimumStatusDuration: minimumStatusDuration, ...more.ocpp } },
    station: { autoAuthorize: true, times: { startingMs: 50, stoppingMs: 50 }, ...more.station },
  };
}

function notifications(world, { after = -1 } = {}) {
  return world.csms.calls('StatusNotification', { after });
}

/** As "1 Charging NoError", in order of arrival. */
function told(world, match) {
  return notifications(world, match).map(
    ({ payload: { connectorId, status, errorCode } }) => `${connectorId} ${status} ${errorCode}`,
  );
}

/** Online, and both connectors have been reported as free. */
async function reported(world) {
  await world.start();
  await world.online();
  await isTold(world, ['0 Available NoError', '1 Available NoError']);
}

async function isTold(world, expected, { after = -1, timeoutMs = 8000 } = {}) {
  await world.csms.waitFor(() => told(world, { after }).length >= expected.length, {
    timeoutMs,
    what: `${expected.length} notifications`,
  });
  assert.deepEqual(told(world, { after }), expected);
}

/** Nothing but `expected` is told since `after`, and for a while. */
async function staysTold(world, expected, { after, milliseconds }) {
  await pause(milliseconds);
  assert.deepEqual(told(world, { after }), expected);
}

theme(
  'the state of the connector',
  () => {
    systemTest(
      'two changes within MinimumStatusDuration: one notification, with the later state',
      options(2),
      async (world) => {
        await reported(world);
        const after = world.csms.mark;
        const begun = Date.now();
        world.station.plug();
        await pause(500);
        world.station.tag('A');
        await world.station.waitForState(State.Charging, { timeoutMs: 2000 });
        await isTold(world, ['1 Charging NoError'], { after });
        assert.ok(Date.now() - begun >= 2500, 'the time is counted from the last change');
        await staysTold(world, ['1 Charging NoError'], { after, milliseconds: 500 });
      },
    );

    systemTest('a state that lasts is told of, for connector 1 alone', options(1), async (world) => {
      await reported(world);
      const after = world.csms.mark;
      world.station.plug();
      await isTold(world, ['1 Preparing NoError'], { after });
      const { payload } = notifications(world, { after })[0];
      assert.deepEqual(Object.keys(payload).sort(), ['connectorId', 'errorCode', 'status', 'timestamp', 'vendorId']);
      await staysTold(world, ['1 Preparing NoError'], { after, milliseconds: 1500 });
    });

    systemTest('a state that does not last is never told of', options(1), async (world) => {
      await reported(world);
      const after = world.csms.mark;
      world.station.plug();
      await pause(400);
      world.station.unplug();
      await staysTold(world, [], { after, milliseconds: 2000 });
    });

    systemTest('each step of a charge is told of, and Starting and Stopping are not', options(0), async (world) => {
      await reported(world);
      const after = world.csms.mark;
      const { station } = world;
      const step = async (act, text) => {
        const before = world.csms.mark;
        act();
        await world.csms.waitFor(() => told(world, { after: before }).includes(`1 ${text} NoError`), {
          timeoutMs: 4000,
          what: text,
        });
      };
      await step(() => station.plug(), 'Preparing');
      await step(() => station.tag('A'), 'Charging');
      await step(() => station.connector.setEvReady(false), 'SuspendedEV');
      await step(() => station.connector.setEvReady(true), 'Charging');
      await step(() => station.connector.setEvseReady(false), 'SuspendedEVSE');
      await step(() => station.tag('A'), 'Finishing');
      await step(() => station.unplug(), 'Available');
      assert.deepEqual(told(world, { after }), [
        '1 Preparing NoError',
        '1 Charging NoError',
        '1 SuspendedEV NoError',
        '1 Charging NoError',
        '1 SuspendedEVSE NoError',
        '1 Finishing NoError',
        '1 Available NoError',
      ]);
    });

    systemTest('out of service: connector 0 is told of first, then connector 1', options(0), async (world) => {
      await reported(world);
      const after = world.csms.mark;
      world.station.connector.setOperative(false);
      await isTold(world, ['0 Unavailable NoError', '1 Unavailable NoError'], { after });
    });

    systemTest('a notification that earned a CALLERROR is made up for at the next push', options(0), async (world) => {
      await reported(world);
      world.csms.answer('StatusNotification', { error: 'InternalError' });
      const after = world.csms.mark;
      world.station.plug();
      await isTold(world, ['1 Preparing NoError'], { after });
      const sayAgain = () =>
        world.station.servers.SessionManager.notify({ state_changed: { state: State.PreparingPluggedIn } });
      sayAgain();
      await isTold(world, ['1 Preparing NoError', '1 Preparing NoError'], { after });
      await pause(200);
      sayAgain();
      await staysTold(world, ['1 Preparing NoError', '1 Preparing NoError'], { after, milliseconds: 1000 });
    });

    systemTest('while Pending nothing is told of; on Accepted both connectors are', options(0), async (world) => {
      world.csms.setBoot({ status: 'Pending', interval: 2 }, { status: 'Accepted', interval: 300 });
      await world.start();
      await world.csms.waitForCall('BootNotification', { timeoutMs: 20000 });
      world.station.plug();
      await world.online();
      await isTold(world, ['0 Available NoError', '1 Preparing NoError']);
      assert.ok(notifications(world)[0].index > world.boots()[1].index);
    });

    systemTest('after the link was away only what differs is told of', options(1), async (world) => {
      await reported(world);
      await world.csms.stop();
      world.station.plug();
      await pause(300);
      const after = world.csms.mark;
      await world.csms.start();
      await isTold(world, ['1 Preparing NoError'], { after, timeoutMs: 20000 });
      await staysTold(world, ['1 Preparing NoError'], { after, milliseconds: 1500 });
    });
  },
  TOGETHER,
);

theme(
  'errors',
  () => {
    systemTest('one error: both connectors Faulted, 0 first, with its code and its name', options(0), async (world) => {
      await reported(world);
      let after = world.csms.mark;
      world.station.raiseFault(GROUND_FAILURE);
      // Each connector has a list of its own.
      await isTold(world, ['0 Faulted NoError', '1 Faulted GroundFailure'], { after });
      const { payload } = notifications(world, { after })[1];
      assert.equal(payload.vendorErrorCode, String(GROUND_FAILURE));
      assert.equal(payload.info, 'GndErr');
      after = world.csms.mark;
      world.station.clearFault(GROUND_FAILURE);
      await isTold(world, ['0 Available NoError', '1 Available NoError'], { after });
    });

    systemTest('two errors at once: OtherError, with both numbers', options(1), async (world) => {
      await reported(world);
      const after = world.csms.mark;
      world.station.raiseFault(GROUND_FAILURE);
      world.station.raiseFault(LOCK_FAILURE);
      await world.csms.waitFor(() => notifications(world, { after }).length >= 2, {
        timeoutMs: 5000,
        what: 'the fault',
      });
      const { payload } = notifications(world, { after })[1];
      assert.equal(payload.errorCode, 'OtherError');
      assert.equal(payload.vendorErrorCode, `${GROUND_FAILURE},${LOCK_FAILURE}`);
      assert.equal(payload.info, 'GndErr,LockErr');
    });

    systemTest('a fatal error is told of once, for connector 0, and nothing after it', options(0), async (world) => {
      await reported(world);
      const after = world.csms.mark;
      world.station.diagnostics.raise(FATAL);
      await isTold(world, ['0 Faulted InternalError'], { after });
      const [{ payload }] = notifications(world, { after });
      assert.equal(payload.vendorErrorCode, String(FATAL));
      world.station.diagnostics.raise(1102);
      world.station.plug();
      await world.secc.waitForLine('Skipping normal status notification push, fatal error already scheduled/pushed');
      await world.secc.waitForLine('Fatal error already scheduled/pushed, ignoring new push');
      await staysTold(world, ['0 Faulted InternalError'], { after, milliseconds: 1500 });
    });

    systemTest('a fatal error while Pending is told of when the station is accepted', options(0), async (world) => {
      world.csms.setBoot({ status: 'Pending', interval: 3 }, { status: 'Accepted', interval: 300 });
      await world.start();
      await world.csms.waitForCall('BootNotification', { timeoutMs: 20000 });
      world.station.diagnostics.raise(FATAL);
      await world.secc.waitForLine('Fatal error but not accepted yet, rescheduling push');
      await world.online();
      await isTold(world, ['0 Faulted InternalError']);
    });

    systemTest('a fatal error that is gone within the second is not told of', options(0), async (world) => {
      await reported(world);
      const after = world.csms.mark;
      world.station.diagnostics.raise(FATAL);
      await pause(300);
      world.station.diagnostics.clear(FATAL);
      await world.secc.waitForLine('Error list empty, cancelling fatal error');
      await staysTold(world, [], { after, milliseconds: 300 });
    });
  },
  TOGETHER,
);
