// Act two: the central system is gone, the process is killed in the middle of a charge, and nothing is lost.
import { enumeration } from '../lib/iipc.js';
import { pause } from '../lib/waiting.js';
import { State } from '../station/connector.js';
import { LISTED_DRIVER, SAMPLE_SECONDS, tellStep, waitForStatus } from './charge.js';

const PATIENCE_MS = 15000;
const CHARGE_MS = 3000;
// The station tries again after 3 to 5 seconds, and then after twice as long each time.
const RECONNECT_MS = 45000;

/** @param {object} parts `station`, `secc` (the running process), `startSecc` (puts another in its place) */
export async function tellBlackout(story, system, id, { station, secc, startSecc }) {
  story.chapter('Act two: the same, with everything going wrong');
  const from = secc.lines.length;
  await system.stop();
  await secc.waitForLine('Initiate websocket reconnect', { timeoutMs: PATIENCE_MS, from });
  story.tell('The central system is cut off.');
  station.tag(LISTED_DRIVER);
  await station.waitForState(State.PreparingAuthorized, { timeoutMs: PATIENCE_MS });
  story.expect(
    station.connector.user?.source === enumeration('EAuthorizationSource').EAuthorizationSourceLocalList,
    `A driver holds the tag ${LISTED_DRIVER} to the reader; the local list lets it in.`,
  );
  station.plug();
  await station.waitForState(State.Charging, { timeoutMs: PATIENCE_MS });
  story.tell('The cable is plugged in, and the charge begins. Nobody is there to be told.');
  await pause(CHARGE_MS);
  const { signal } = await secc.kill();
  story.tell('secc is killed in the middle of it.', { signal, 'the station meanwhile': 'goes on charging' });
  await restart(story, station, startSecc);
  await endCharge(story, system, station);
  await tellReturn(story, system, id);
}

async function restart(story, station, startSecc) {
  startSecc();
  await station.waitForEnabled({ timeoutMs: PATIENCE_MS });
  story.tell('It is started again, and finds what it had written down.');
  await pause(CHARGE_MS);
}

async function endCharge(story, system, station) {
  station.tag(LISTED_DRIVER);
  await station.waitForState(State.Finishing, { timeoutMs: PATIENCE_MS });
  station.unplug();
  await station.waitForState(State.Available, { timeoutMs: PATIENCE_MS });
  story.tell('The driver ends the charge and drives away.');
}

/** The link returns: what was kept comes, once and in order. */
async function tellReturn(story, system, id) {
  const returned = Date.now();
  const mark = system.mark;
  await tellStep(story, system, 'The central system is back. This is what it hears:', async () => {
    await system.start();
    await system.waitForCall('StopTransaction', { after: mark, timeoutMs: RECONNECT_MS });
    await waitForStatus(system, id, 'Available');
    // Time for anything that should not come.
    await pause(SAMPLE_SECONDS * 1000);
  });
  checkReturn(story, system, mark, returned);
}

function checkReturn(story, system, mark, returned) {
  const heard = (action) => system.calls(action, { after: mark });
  const [starts, values, stops] = ['StartTransaction', 'MeterValues', 'StopTransaction'].map(heard);
  story.expect(starts.length === 1 && stops.length === 1, `${starts.length} start and ${stops.length} stop came.`);
  if (starts.length === 0 || stops.length === 0) return;
  const [start] = starts;
  const [stop] = stops;
  const isInOrder = [start, ...values, stop].every(
    (frame, index, all) => index === 0 || frame.index > all[index - 1].index,
  );
  story.expect(isInOrder, 'They came in order: the start, the meter values, the stop.');
  const given = [...system.book.sessions.values()].at(-1).transactionId;
  const named = [...values, stop].map(({ payload }) => payload.transactionId);
  story.expect(
    named.every((transactionId) => transactionId === given),
    `Each carries the transaction id ${given} that the start was answered with.`,
  );
  story.expect(
    Date.parse(stop.payload.timestamp) < returned,
    'Start and stop tell the time and the meter of when they happened, not of when they could be sent.',
  );
}
