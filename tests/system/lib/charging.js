// What tests of whole charges have in common.
import { State } from '../../../simulator/station/connector.js';

const STEP_MS = 5000;

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

/** A driver plugs in and charges. */
export async function charge(world, tag = 'A') {
  const { station } = world;
  await station.waitFor(() => station.connector.approved, { timeoutMs: STEP_MS, what: 'the approval' });
  station.plug();
  station.tag(tag);
  await station.waitForState(State.Charging, { timeoutMs: STEP_MS });
}

/** The driver presents the tag again, and leaves. */
export async function leave(world, tag = 'A') {
  const { station } = world;
  station.tag(tag);
  await station.waitForState(State.Finishing, { timeoutMs: STEP_MS });
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
