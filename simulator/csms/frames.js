// OCPP-J frames of OCPP 1.6: reading, writing, and strict validation of each payload against the published schemas.
import { schemaValidators } from '../lib/packages.js';

const validator = schemaValidators.find((entry) => entry.subprotocol === 'ocpp1.6');

export const CALL = 2;
export const CALLRESULT = 3;
export const CALLERROR = 4;

export const KIND_NAMES = { [CALL]: 'CALL', [CALLRESULT]: 'CALLRESULT', [CALLERROR]: 'CALLERROR' };

// OCPP-J 1.6, 4.2.3: the error codes, spelled as published.
export const ERROR_CODES = new Set([
  'NotImplemented',
  'NotSupported',
  'InternalError',
  'ProtocolError',
  'SecurityError',
  'FormationViolation',
  'PropertyConstraintViolation',
  'OccurenceConstraintViolation',
  'TypeConstraintViolation',
  'GenericError',
]);

// OCPP-J 1.6, 4.1.4: a message id has at most 36 characters.
const MAX_ID_LENGTH = 36;

/** Thrown for a payload that does not conform; `code` is the CALLERROR code that fits. */
export class SchemaViolation extends Error {
  constructor(code, text) {
    super(text);
    this.code = code;
  }
}

const PUBLISHED_CODE = {
  FormatViolation: 'FormationViolation',
  OccurrenceConstraintViolation: 'OccurenceConstraintViolation',
};

function validate(schemaId, payload) {
  try {
    validator.validate(schemaId, payload);
  } catch (error) {
    throw new SchemaViolation(
      PUBLISHED_CODE[error.rpcErrorCode] ?? error.rpcErrorCode ?? 'GenericError',
      error.message,
    );
  }
}

export function isKnownAction(action) {
  return validator._ajv.getSchema(`urn:${action}.req`) !== undefined;
}

/** Throws SchemaViolation unless `payload` is a valid request of `action`. */
export function checkRequest(action, payload) {
  if (!isKnownAction(action)) throw new SchemaViolation('NotImplemented', `no schema for action ${action}`);
  validate(`urn:${action}.req`, payload);
}

/** Throws SchemaViolation unless `payload` is a valid confirmation of `action`. */
export function checkConfirmation(action, payload) {
  if (!isKnownAction(action)) throw new SchemaViolation('NotImplemented', `no schema for action ${action}`);
  validate(`urn:${action}.conf`, payload);
}

function isObject(value) {
  return value !== null && typeof value === 'object' && !Array.isArray(value);
}

function envelopeProblem(frame) {
  if (!Array.isArray(frame)) return 'frame is no JSON array';
  const [kind, id] = frame;
  if (!(kind in KIND_NAMES)) return `unknown message type ${JSON.stringify(kind)}`;
  if (typeof id !== 'string' || id.length === 0) return 'message id is no text';
  if (id.length > MAX_ID_LENGTH) return `message id has ${id.length} characters`;
  const arity = { [CALL]: 4, [CALLRESULT]: 3, [CALLERROR]: 5 }[kind];
  if (frame.length !== arity) return `${KIND_NAMES[kind]} has ${frame.length} members, not ${arity}`;
  if (kind === CALL && (typeof frame[2] !== 'string' || frame[2].length === 0)) return 'action is no text';
  if (kind === CALLERROR) {
    if (!ERROR_CODES.has(frame[2])) return `unknown error code ${JSON.stringify(frame[2])}`;
    if (typeof frame[3] !== 'string' || frame[3].length > 255)
      return 'error description is no text of at most 255 characters';
  }
  return isObject(frame.at(-1)) ? null : 'payload is no JSON object';
}

/**
 * Cuts up one frame. Never throws.
 * @returns {{kind?: number, id?: string, action?: string, payload?: object, code?: string, description?: string,
 *            details?: object, problem: string|null}} `problem` says what is wrong with the envelope.
 */
export function readFrame(text) {
  let frame;
  try {
    frame = JSON.parse(text);
  } catch (error) {
    return { problem: `frame is no JSON: ${error.message}` };
  }
  const problem = envelopeProblem(frame);
  if (!Array.isArray(frame)) return { problem };
  const [kind, id] = frame;
  if (kind === CALL) return { kind, id, action: frame[2], payload: frame[3], problem };
  if (kind === CALLRESULT) return { kind, id, payload: frame[2], problem };
  if (kind === CALLERROR) return { kind, id, code: frame[2], description: frame[3], details: frame[4], problem };
  return { kind, id, problem };
}

export function writeCall(id, action, payload) {
  return JSON.stringify([CALL, id, action, payload]);
}

export function writeResult(id, payload) {
  return JSON.stringify([CALLRESULT, id, payload]);
}

export function writeError(id, code, description = '', details = {}) {
  return JSON.stringify([CALLERROR, id, code, description, details]);
}
