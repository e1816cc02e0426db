// How the station comes online, and what it refuses.

export const HEARTBEAT_SECONDS = 2;

/** The station connects, registers and keeps its heartbeat. */
export async function tellOnline(story, system, id, station) {
  story.chapter('Prologue: the station comes online');
  const link = system.station(id);
  await station.waitForEnabled({ timeoutMs: 15000 });
  story.tell('Its supervisor took it through Disable and Enable.', { states: station.supervisor.reports.join(', ') });
  const connection = await system.waitFor(() => link.connection, {
    timeoutMs: 20000,
    what: 'a connection of the station',
  });
  story.tell('The station connected.', {
    subprotocol: connection.subprotocol,
    TLS: `${connection.tls.version}, ${connection.tls.cipher}`,
  });
  const boot = await system.waitForCall('BootNotification', { timeoutMs: 10000 });
  story.tell('It registered with BootNotification.', boot.payload);
  await system.waitFor(() => link.registration === 'Accepted', { timeoutMs: 5000, what: 'the acceptance' });
  story.tell('It was accepted.', { heartbeatInterval: `${HEARTBEAT_SECONDS} s` });
  const beats = await system.waitFor(() => (system.calls('Heartbeat').length >= 2 ? system.calls('Heartbeat') : null), {
    timeoutMs: (3 * HEARTBEAT_SECONDS + 5) * 1000,
    what: 'two heartbeats',
  });
  story.tell('Two heartbeats came.', { apart: `${((beats[1].time - beats[0].time) / 1000).toFixed(1)} s` });
}

const REFUSED = [
  ['FooBar', {}, 'NotImplemented', 'An action that OCPP does not know'],
  ['CancelReservation', { reservationId: 1 }, 'NotSupported', 'CancelReservation, which this station does not offer,'],
];

/** The central system asks two things that the station must refuse. */
export async function tellRefusals(story, system, id) {
  for (const [action, payload, code, what] of REFUSED) {
    const answer = await system.call(id, action, payload, { timeoutMs: 5000 }).then(
      () => 'a result',
      (error) => error.code ?? error.message,
    );
    story.expect(answer === code, `${what} was answered with ${answer}.`);
  }
}

/** Waits until secc has surely heard of the central system's approval to charge. */
export async function waitForApproval(station) {
  await station.waitFor(() => station.connector.approved, { timeoutMs: 10000, what: 'the approval to charge' });
}
