// Act one: a driver charges, and everything works.
import { State } from '../station/connector.js';
import { describeFrames } from './frames.js';

export const DRIVER = '04C0FFEE01';
/** Whose tag the central system puts on the station's local list. */
export const LISTED_DRIVER = '04FEEDBEEF';
export const SAMPLE_SECONDS = 2;

const PATIENCE_MS = 15000;

/** The last status of the connector that the central system was told. */
function statusOf(system, id) {
  return system.station(id).statuses.get(1)?.status;
}

export function waitForStatus(system, id, status) {
  return system.waitFor(() => statusOf(system, id) === status, {
    timeoutMs: PATIENCE_MS,
    what: `the status ${status} (it is ${statusOf(system, id)})`,
  });
}

/** Runs `step` and shows what the central system heard meanwhile. */
export async function tellStep(story, system, text, step) {
  const mark = system.mark;
  story.tell(text);
  await step();
  // An answer that is on its way belongs to its call.
  await system.waitFor(() => everyCallIsAnswered(system, mark), { timeoutMs: 5000, what: 'the last answer' });
  story.show(describeFrames(system.frames({ after: mark })));
}

function everyCallIsAnswered(system, mark) {
  const frames = system.frames({ after: mark });
  return frames.every((frame) => frame.kind !== 2 || frames.some((other) => other.kind !== 2 && other.id === frame.id));
}

export async function tellCharge(story, system, id, station) {
  story.chapter('Act one: a charge');
  await tellStep(story, system, `A driver holds the tag ${DRIVER} to the reader.`, async () => {
    await waitForStatus(system, id, 'Available');
    station.tag(DRIVER);
    await station.waitForState(State.PreparingAuthorized, { timeoutMs: PATIENCE_MS });
    await waitForStatus(system, id, 'Preparing');
  });
  await tellStep(story, system, 'The cable is plugged in, and the charge begins.', async () => {
    station.plug();
    await station.waitForState(State.Charging, { timeoutMs: PATIENCE_MS });
    await system.waitForCall('StartTransaction', { timeoutMs: PATIENCE_MS });
    await waitForStatus(system, id, 'Charging');
  });
  await tellStep(story, system, `The meter is read every ${SAMPLE_SECONDS} seconds.`, async () => {
    const before = system.calls('MeterValues').length;
    await system.waitFor(() => system.calls('MeterValues').length >= before + 3, {
      timeoutMs: (3 * SAMPLE_SECONDS + 5) * 1000,
      what: 'three MeterValues',
    });
  });
  await tellStep(story, system, 'The same tag ends the charge.', async () => {
    station.tag(DRIVER);
    await system.waitForCall('StopTransaction', { timeoutMs: PATIENCE_MS });
    await waitForStatus(system, id, 'Finishing');
  });
  await tellStep(story, system, 'The cable is taken out.', async () => {
    station.unplug();
    await waitForStatus(system, id, 'Available');
  });
  await tellList(story, system, id);
}

async function tellList(story, system, id) {
  const list = {
    listVersion: 1,
    updateType: 'Full',
    localAuthorizationList: [{ idTag: LISTED_DRIVER, idTagInfo: { status: 'Accepted' } }],
  };
  let answer = null;
  await tellStep(story, system, 'The operator gives the station a list of tags that may charge offline.', async () => {
    answer = await system.call(id, 'SendLocalList', list).then(
      ({ status }) => status,
      (error) => error.code ?? error.message,
    );
  });
  story.expect(answer === 'Accepted', `The list was answered with ${answer}.`);
}
