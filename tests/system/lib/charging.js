// What tests of whole charges have in common.
import { pause } from '../../../simulator/lib/waiting.js';
import { State } from '../../../simulator/station/connector.js';

const STEP_MS = 5000;
const ASKED_MS = 1500;
const POLL_MS = 10;

/**
 * Options of a world in which everybody is let through, unless `more` says otherwise.
 * @param {object} ocpp keys over the packaged ones
 */
export function freeCharging(ocpp = {}, more = {}) {
  return {
    ...more,
    settings: { ...more.settings, ocpp: { MinimumStatusDuration: 600, MeterValueSampleInterval: 0, ...ocpp } },
    station: { autoAuthorize: true, times: { startingMs: 50, stoppingMs: 50 }, ...more.station },
  };
}

/**
 * Waits until the process, if one runs, has asked whose session it is, which it does when it is told of a start or an end.
 * No driver is as fast as a test, and the answer is that of the moment.
 */
async function isAskedFor({ station, secc }, since) {
  const isAsked = ({ method, time }) => method === 'GetConnectorInfo' && time >= since;
  const end = Date.now() + ASKED_MS;
  while (secc.running && Date.now() < end && !station.servers.SessionManager.calls.some(isAsked)) await pause(POLL_MS);
}

/** A driver plugs in and charges. */
export async function charge(world, tag = 'A') {
  const { station } = world;
  const since = Date.now();
  await station.waitFor(() => station.connector.approved, { timeoutMs: STEP_MS, what: 'the approval' });
  station.plug();
  station.tag(tag);
  await station.waitForState(State.Charging, { timeoutMs: STEP_MS });
  await isAskedFor(world, since);
}

/** The driver presents the tag again, and leaves. */
export async function leave(world, tag = 'A') {
  const { station } = world;
  const since = Date.now();
  station.tag(tag);
  await station.waitForState(State.Finishing, { timeoutMs: STEP_MS });
  await isAskedFor(world, since);
  station.unplug();
  await station.waitForState(State.Available, { timeoutMs: STEP_MS });
}

/** Resolves with the payload of a CALL of `action`, the `number`th of its kind (from 1). */
export async function payloadOf(system, action, { number = 1, timeoutMs = STEP_MS } = {}) {
  const calls = () => system.calls(action);
  await system.waitFor(() => calls().length >= number, { timeoutMs, what: `${action} number ${number}` });
  return calls()[number - 1].payload;
}

/** Actions of the transaction messages, in order of arrival. */
export function transactionActions(system, { after = -1 } = {}) {
  return system
    .frames({ direction: 'in', kind: 2, after })
    .map(({ action }) => action)
    .filter((action) => ['StartTransaction', 'MeterValues', 'StopTransaction'].includes(action));
}
