// The services of the siblings: what the contract asks for, translated to the parts of the simulated station.
import { enumeration } from '../lib/iipc.js';
import { Kind } from './diagnostics.js';

const success = { result: 0 };
const illegal = { result: 1 };
const verdict = (accepted) => (accepted ? success : illegal);

function timestampMs(timestamp) {
  return timestamp.seconds * 1000 + timestamp.nanoseconds / 1e6;
}

function isConnector(number) {
  return number === 0 || number === 1;
}

function answerAuthorization(connector, request) {
  return verdict(
    connector.answer({
      requestId: request.request_id,
      approved: request.approved === 1,
      parentId: request.parent_id,
      token: request.user_identification?.token ?? '',
      source: request.user_identification?.details?.authorization_source ?? 0,
    }),
  );
}

function sessionManagerMethods(station) {
  const { connector } = station;
  return {
    GetAuthorizeHandle: () => ({ request_id: connector.authorizeHandle() }),
    HandleAuthorizeRequest: (request) => answerAuthorization(connector, request),
    DeauthorizeSession: ({ connector: number, reason }) => {
      if (isConnector(number)) connector.deauthorize(reason);
      return {};
    },
    ReserveConnector: ({ connector: number, id_tag: idTag, id, expiry_date: expiry }) =>
      verdict(isConnector(number) && expiry && connector.reserve({ idTag, id, until: timestampMs(expiry) })),
    SetConnectorAvailability: ({ connector: number, operative }) => {
      if (!isConnector(number)) return illegal;
      connector.setOperative(operative);
      return success;
    },
    SetMessageStorageAvailable: ({ available }) => {
      connector.setStorageAvailable(available);
      return success;
    },
    RequestUnlock: ({ connector: number }) => verdict(isConnector(number) && connector.unlock()),
    SetExternalChargeApproval: ({ approved }) => {
      station.approve(approved);
      return success;
    },
    SetParentIdTag: ({ parent_id_tag: parentId }) => {
      connector.setParentId(parentId);
      return {};
    },
    GetConnectorInfo: ({ connector: number }) => {
      if (!isConnector(number)) return { state: 0 };
      const { idTag } = station;
      station.sessionEvents.asked();
      return { state: connector.state, ...(idTag && { id_tag: idTag }) };
    },
  };
}

function diagnosticsMethods(diagnostics) {
  return {
    SendSignal: (signal) => {
      diagnostics.take(withoutEmptyLists(signal));
      return success;
    },
    GetSignal: ({ identifier, connector: number }) => {
      const signal = diagnostics.last(identifier, number);
      return signal ? { signal } : {};
    },
    GetActiveErrors: () => ({ signals: diagnostics.active(Kind.Error) }),
    GetActiveWarnings: () => ({ signals: diagnostics.active(Kind.Warning) }),
    CreateFreezeFrame: ({ tag }) => {
      diagnostics.createFreezeFrame(tag);
      return success;
    },
  };
}

function withoutEmptyLists(signal) {
  return Object.fromEntries(
    Object.entries(signal).filter(
      ([name, value]) => !name.startsWith('_') && !(Array.isArray(value) && value.length === 0),
    ),
  );
}

/** @param {import('./station.js').Station} station */
export function makeMethods(station) {
  const { connector, meter, currentControl, diagnostics, board, safety } = station;
  return {
    SessionManager: sessionManagerMethods(station),
    SessionManagerAuth: { HandleAuthorizeRequest: (request) => answerAuthorization(connector, request) },
    // What was given out must not be given out again as less, also when this process is killed.
    Meter: { GetMeterData: () => station.kept(meter.reading()), GetMeterSessions: () => meter.storedSessions() },
    CurrentControl: {
      SetLimit: ({ source, current, phases, _current: given }) =>
        verdict(given !== undefined && currentControl.set({ source, current, phases })),
      ClearLimit: ({ source }) => verdict(currentControl.clear(source)),
      GetLimit: () => currentControl.limit,
    },
    BoardControl: {
      Reset: ({ hard }) => verdict(board.reset(hard)),
      InstallFirmware: ({ initiator }) => verdict(board.install(initiator)),
    },
    ChargeControlBasicCharge: { GetPilotStates: () => station.pilotStates() },
    Feedback: {
      TriggerEvent: ({ event, instance }) => {
        station.show(event?.type ?? 0, instance?.instance ?? 0);
        return success;
      },
    },
    SafetyMcuComm: { GetMcuStatus: () => safety.status, GetRelayStatus: () => ({ state: connector.charging ? 1 : 0 }) },
    Diagnostics: diagnosticsMethods(diagnostics),
  };
}

/** Ties the events of the station's parts to the notification streams. */
export function connectNotifications(station) {
  const { connector, currentControl, diagnostics, board, safety } = station;
  const send = (service, notification) => station.servers[service].notify(notification);

  connector.on('state', (state) => {
    send('SessionManager', { state_changed: { state } });
    send('ChargeControlBasicCharge', { pilot_states_changed: station.pilotStates() });
  });
  connector.on('unlocked', () => send('ChargeControlBasicCharge', { socket_unlocked: { connector: 1 } }));
  connector.on('flow', (flows) => send('SafetyMcuComm', { relay_status: { state: flows ? 1 : 0 } }));
  connector.on('authorize', ({ requestId, token }) =>
    send('SessionManagerAuth', {
      authorize_id: {
        connector: station.tagConnector,
        request: {
          request_id: requestId,
          connector: station.tagConnector,
          approved: 0,
          user_identification: { token, token_type: station.tokenType, details: { authorization_source: 0 } },
        },
      },
    }),
  );
  connector.on('authorized', ({ token }) =>
    send('SessionManagerAuth', {
      authorize_id: {
        connector: 1,
        request: {
          request_id: '',
          connector: 1,
          approved: 1,
          user_identification: {
            token,
            token_type: station.tokenType,
            details: { authorization_source: enumeration('EAuthorizationSource').EAuthorizationSourceAutoAuthorize },
          },
        },
      },
    }),
  );
  currentControl.on('limit', (limit) => send('CurrentControl', { limit_changed: limit }));
  diagnostics.on('report', (report) => send('Diagnostics', { signal_report: report }));
  diagnostics.on('freeze-frame', (file) => send('Diagnostics', { freeze_frame_done: { file_name: file } }));
  board.on('firmware', (status) => send('BoardControl', { fw_update_status: { status } }));
  board.on('mains-lost', () => send('BoardControl', { mains_lost: {} }));
  safety.on('temperatures', (status) => send('SafetyMcuComm', { mcu_temperatures: status }));
  station.on('shown', ({ type, instance }) =>
    send('Feedback', { event_shown: { event: { type }, instance: { instance } } }),
  );
}
