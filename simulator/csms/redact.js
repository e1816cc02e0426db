// Takes credentials out of what is written to a log: values of secret configuration keys and the password part of URLs.

export const MASK = '****';

const SECRET_KEYS = new Set([
  'AuthorizationKey',
  'SboAuthorizationKey',
  'SboOcppBasicAuthPassword',
  'FwUpdateAuthPassword',
  'WlanApPassword',
  'WlanStaPassword',
  'WlanStaPsk',
  'NetMSmsPassword',
  'SmsPassword',
  'WebIfManagementPassword',
  'LocalRestApiToken',
  'TOTPSharedSecret',
  'CpoPassword',
  'BasicAuthPassword',
]);

const URL_CREDENTIALS = /([a-z][a-z0-9+.-]*:\/\/)[^\s"/@]+@/gi;
const KEY_BEFORE_VALUE = new RegExp(
  `("(?:${[...SECRET_KEYS].join('|')})"\\s*(?:,[^{}]*?"value"\\s*)?:\\s*")(?:[^"\\\\]|\\\\.)*`,
  'g',
);
const VALUE_BEFORE_KEY = new RegExp(
  `("value"\\s*:\\s*")(?:[^"\\\\]|\\\\.)*("[^{}]*?"key"\\s*:\\s*"(?:${[...SECRET_KEYS].join('|')})")`,
  'g',
);

/** Masks credentials in any text, also in a frame that is no valid JSON. */
export function redactText(text) {
  return text
    .replace(KEY_BEFORE_VALUE, `$1${MASK}`)
    .replace(VALUE_BEFORE_KEY, `$1${MASK}$2`)
    .replace(URL_CREDENTIALS, `$1${MASK}@`);
}

/** A copy of a payload in which each credential is masked. */
export function redact(value) {
  if (typeof value === 'string') return redactText(value);
  if (Array.isArray(value)) return value.map(redact);
  if (value === null || typeof value !== 'object') return value;
  const copy = {};
  for (const [name, member] of Object.entries(value)) {
    const secretPair = name === 'value' && SECRET_KEYS.has(value.key);
    const secretMember = SECRET_KEYS.has(name) && typeof member !== 'object';
    copy[name] = (secretPair || secretMember) && member !== null ? MASK : redact(member);
  }
  return copy;
}
