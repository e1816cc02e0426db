// The frames of the wire log as sentences: one line for each call, with its answer.
import { CALL, CALLERROR } from '../csms/frames.js';
import { registerSamples } from '../csms/accountbook.js';

const ACTION_WIDTH = 20;

function clockTime(text) {
  return text?.slice(11, 19) ?? '?';
}

function registers(meterValue) {
  return registerSamples(meterValue)
    .map(({ context, energyWh }) => `${context === 'Sample.Periodic' ? '' : `${context} `}${energyWh} Wh`)
    .join(', ');
}

/** What a call says, by its action. */
const SAYS = {
  Authorize: ({ idTag }) => `may ${idTag} charge?`,
  BootNotification: ({ chargePointVendor, chargePointModel }) => `${chargePointVendor} ${chargePointModel}`,
  StatusNotification: ({ connectorId, status, errorCode }) =>
    `connector ${connectorId} is ${status}${errorCode === 'NoError' ? '' : ` (${errorCode})`}`,
  StartTransaction: ({ idTag, meterStart, timestamp }) =>
    `${idTag} began at ${clockTime(timestamp)} with ${meterStart} Wh`,
  MeterValues: ({ transactionId, meterValue }) => `transaction ${transactionId ?? '-'}: ${registers(meterValue)}`,
  StopTransaction: ({ transactionId, meterStop, timestamp, reason, transactionData }) =>
    `transaction ${transactionId} ended at ${clockTime(timestamp)} with ${meterStop} Wh (${reason})` +
    (transactionData ? `; ${registers(transactionData)}` : ''),
  SendLocalList: ({ listVersion, updateType, localAuthorizationList }) =>
    `${updateType}, version ${listVersion}, ${(localAuthorizationList ?? []).map(({ idTag }) => idTag).join(', ')}`,
};

/** What an answer says, in a word or two. */
function outcome(answer) {
  if (!answer) return 'no answer';
  if (answer.kind === CALLERROR) return answer.code;
  const { status, idTagInfo, transactionId, listVersion } = answer.payload;
  if (transactionId !== undefined) return `transaction ${transactionId}, ${idTagInfo.status}`;
  return idTagInfo?.status ?? status ?? (listVersion === undefined ? 'ok' : `version ${listVersion}`);
}

/** The calls of `frames` in both directions, in order, one line each; heartbeats are left out. */
export function describeFrames(frames) {
  const lines = [];
  for (const frame of frames) {
    if (frame.kind !== CALL || frame.action === 'Heartbeat') continue;
    const answer = frames.find((other) => other.index > frame.index && other.id === frame.id && other.kind !== CALL);
    const says = SAYS[frame.action]?.(frame.payload) ?? '';
    const arrow = frame.direction === 'in' ? '->' : '<-';
    const time = new Date(frame.time).toISOString().slice(11, 19);
    lines.push(`${time} ${arrow} ${frame.action.padEnd(ACTION_WIDTH)} ${says} => ${outcome(answer)}`);
  }
  return lines;
}
