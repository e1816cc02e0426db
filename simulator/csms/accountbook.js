// The operator's books: what the central system was told of sessions, and whether it adds up.
//
// Entries are made for every transaction message that the central system took (also where its answer got lost); `check`
// then applies an operator's rules. A message that comes again under the same message id is a repeat and is booked once.

const REGISTER = 'Energy.Active.Import.Register';

/**
 * @typedef {object} Session
 * @property {number} transactionId
 * @property {string} station
 * @property {number} connectorId
 * @property {string} idTag
 * @property {object} start payload of the StartTransaction
 * @property {object[]} samples {timestamp, energyWh, context} of its MeterValues, in order of arrival
 * @property {object|null} stop payload of the StopTransaction
 * @property {number[]} order arrival numbers of its messages
 */

function problem(rule, text, session) {
  return { rule, text, transactionId: session?.transactionId ?? null };
}

/** Register samples in Wh of one meterValue list. */
export function registerSamples(meterValue) {
  const samples = [];
  for (const entry of meterValue ?? []) {
    for (const sample of entry.sampledValue ?? []) {
      if ((sample.measurand ?? REGISTER) !== REGISTER || sample.format === 'SignedData') continue;
      const factor = sample.unit === 'kWh' ? 1000 : 1;
      samples.push({
        timestamp: entry.timestamp,
        energyWh: Number(sample.value) * factor,
        context: sample.context ?? 'Sample.Periodic',
      });
    }
  }
  return samples;
}

function withoutTransactionId(payload) {
  const { transactionId, ...rest } = payload;
  return JSON.stringify(rest);
}

export class AccountBook {
  #next;
  #arrival = 0;
  #messages = new Map();
  #problems = [];

  constructor({ firstTransactionId = 1001 } = {}) {
    this.#next = firstTransactionId;
    /** @type {Map<number, Session>} */
    this.sessions = new Map();
    /** Repeats of a message id: {station, action, messageId, answered}; legal, but countable. */
    this.repeats = [];
    /** MeterValues outside of any transaction. */
    this.looseSamples = [];
  }

  /** The earlier entry of a message, with a note in `repeats`; null for a new one. */
  #repeat(action, station, messageId, payload) {
    const known = this.#messages.get(`${station} ${messageId}`);
    if (!known) {
      this.#messages.set(`${station} ${messageId}`, { action, payload, answered: false });
      return null;
    }
    this.repeats.push({ station, action, messageId, answered: known.answered });
    if (known.action !== action || withoutTransactionId(known.payload) !== withoutTransactionId(payload)) {
      this.#problems.push(
        problem('message-id', `message id ${messageId} came again with another content (${known.action}, ${action})`),
      );
    }
    return known;
  }

  /** The station has the answer of a message, as far as the central system can tell. */
  answered(station, messageId) {
    const known = this.#messages.get(`${station} ${messageId}`);
    if (known) known.answered = true;
  }

  /** Books a StartTransaction and gives its transaction id; a repeat gives the id of the first. */
  start(station, messageId, payload) {
    const repeat = this.#repeat('StartTransaction', station, messageId, payload);
    if (repeat) return repeat.transactionId;
    const transactionId = this.#next++;
    const session = {
      transactionId,
      station,
      messageId,
      connectorId: payload.connectorId,
      idTag: payload.idTag,
      start: payload,
      samples: [],
      stop: null,
      order: [this.#arrival++],
    };
    this.sessions.set(transactionId, session);
    this.#messages.get(`${station} ${messageId}`).transactionId = transactionId;
    return transactionId;
  }

  /** Books a MeterValues message. */
  meterValues(station, messageId, payload) {
    if (this.#repeat('MeterValues', station, messageId, payload)) return;
    const arrival = this.#arrival++;
    const samples = registerSamples(payload.meterValue);
    if (payload.transactionId === undefined) {
      this.looseSamples.push({ station, connectorId: payload.connectorId, samples });
      return;
    }
    const session = this.#sessionOf(station, payload, 'MeterValues');
    if (!session) return;
    if (session.stop)
      this.#problems.push(problem('order', `MeterValues ${messageId} came after the StopTransaction`, session));
    session.samples.push(...samples);
    session.order.push(arrival);
  }

  /** Books a StopTransaction. */
  stop(station, messageId, payload) {
    if (this.#repeat('StopTransaction', station, messageId, payload)) return;
    const arrival = this.#arrival++;
    const session = this.#sessionOf(station, payload, 'StopTransaction');
    if (!session) return;
    if (session.stop) {
      this.#problems.push(
        problem('billed-once', `transaction ${session.transactionId} was stopped under two message ids`, session),
      );
      return;
    }
    session.stop = payload;
    session.order.push(arrival);
  }

  #sessionOf(station, payload, action) {
    const session = this.sessions.get(payload.transactionId);
    if (!session) {
      this.#problems.push(
        problem('id-known', `${action} names transaction ${payload.transactionId}, which was never given out`),
      );
      return null;
    }
    if (session.station !== station) {
      this.#problems.push(
        problem('id-known', `${action} of ${station} names transaction ${payload.transactionId} of ${session.station}`),
      );
      return null;
    }
    if (payload.connectorId !== undefined && payload.connectorId !== session.connectorId) {
      this.#problems.push(
        problem(
          'id-known',
          `${action} names connector ${payload.connectorId}, the transaction runs on ${session.connectorId}`,
          session,
        ),
      );
    }
    return session;
  }

  /**
   * Applies all rules.
   * @param {object} [options] `allowOpen`: sessions without a stop are no fault.
   * @returns {{balanced: boolean, problems: {rule: string, text: string, transactionId: number|null}[], sessions: object[]}}
   */
  check({ allowOpen = false } = {}) {
    const problems = [...this.#problems];
    for (const session of this.sessions.values()) {
      if (!session.stop && !allowOpen)
        problems.push(problem('billed-once', `transaction ${session.transactionId} was never stopped`, session));
      checkEnergy(session, problems);
      checkTimes(session, problems);
      checkTags(session, problems);
    }
    checkSequence([...this.sessions.values()], problems);
    return { balanced: problems.length === 0, problems, sessions: [...this.sessions.values()].map(summary) };
  }
}

function summary(session) {
  return {
    transactionId: session.transactionId,
    station: session.station,
    connectorId: session.connectorId,
    idTag: session.idTag,
    started: session.start.timestamp,
    stopped: session.stop?.timestamp ?? null,
    reason: session.stop?.reason ?? null,
    energyWh: session.stop ? session.stop.meterStop - session.start.meterStart : null,
    samples: session.samples.length,
  };
}

/** All register readings of a session in the order in which they must ascend. */
function readings(session) {
  const list = [{ what: 'meterStart', energyWh: session.start.meterStart, timestamp: session.start.timestamp }];
  session.samples.forEach((sample, index) => list.push({ what: `meter value ${index + 1}`, ...sample }));
  if (session.stop)
    list.push({ what: 'meterStop', energyWh: session.stop.meterStop, timestamp: session.stop.timestamp });
  return list;
}

function checkEnergy(session, problems) {
  const list = readings(session);
  for (let index = 1; index < list.length; index += 1) {
    if (!(list[index].energyWh >= list[index - 1].energyWh)) {
      problems.push(
        problem(
          'ascending',
          `${list[index].what} ${list[index].energyWh} Wh lies below ${list[index - 1].what} ${list[index - 1].energyWh} Wh`,
          session,
        ),
      );
    }
  }
  for (const sample of registerSamples(session.stop?.transactionData)) {
    const expected = { 'Transaction.Begin': session.start.meterStart, 'Transaction.End': session.stop.meterStop }[
      sample.context
    ];
    if (expected !== undefined && sample.energyWh !== expected) {
      problems.push(
        problem(
          'transaction-data',
          `${sample.context} says ${sample.energyWh} Wh, the books say ${expected} Wh`,
          session,
        ),
      );
    }
  }
}

function checkTimes(session, problems) {
  const list = readings(session);
  for (let index = 1; index < list.length; index += 1) {
    if (!(Date.parse(list[index].timestamp) >= Date.parse(list[index - 1].timestamp))) {
      problems.push(
        problem(
          'time',
          `${list[index].what} at ${list[index].timestamp} lies before ${list[index - 1].what} at ${list[index - 1].timestamp}`,
          session,
        ),
      );
    }
  }
}

function checkTags(session, problems) {
  if (session.stop?.idTag !== undefined && session.stop.idTag !== session.idTag) {
    problems.push(problem('tag', `started by ${session.idTag}, stopped by ${session.stop.idTag}`, session));
  }
}

/** Sessions of one connector: none twice, each one's energy and time behind the one before, in order of arrival. */
function checkSequence(sessions, problems) {
  const connectors = new Map();
  const starts = new Map();
  for (const session of sessions) {
    const key = `${session.station} ${session.connectorId}`;
    connectors.set(key, [...(connectors.get(key) ?? []), session]);
    const start = `${key} ${session.idTag} ${session.start.timestamp} ${session.start.meterStart}`;
    const twin = starts.get(start);
    if (twin) {
      problems.push(
        problem(
          'billed-once',
          `transactions ${twin.transactionId} and ${session.transactionId} are one session under two message ids`,
          session,
        ),
      );
    }
    starts.set(start, session);
  }
  for (const list of connectors.values()) {
    for (let index = 1; index < list.length; index += 1) checkNeighbours(list[index - 1], list[index], problems);
  }
}

function checkNeighbours(before, after, problems) {
  if (!before.stop) return;
  if (after.start.meterStart < before.stop.meterStop) {
    problems.push(
      problem(
        'ascending',
        `meterStart ${after.start.meterStart} Wh lies below the meterStop ${before.stop.meterStop} Wh of transaction ${before.transactionId}`,
        after,
      ),
    );
  }
  if (Date.parse(after.start.timestamp) < Date.parse(before.stop.timestamp)) {
    problems.push(
      problem(
        'time',
        `started at ${after.start.timestamp}, before transaction ${before.transactionId} had ended`,
        after,
      ),
    );
  }
  if (after.order[0] < before.order.at(-1)) {
    problems.push(
      problem('order', `StartTransaction came before transaction ${before.transactionId} was closed`, after),
    );
  }
}
