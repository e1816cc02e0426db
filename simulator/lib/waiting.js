// Waiting for something to become true, with a deadline. Used by the simulator's classes and by tests.

/** A wait that ran into its deadline. */
export class WaitTimeout extends Error {}

/**
 * Resolves with the first truthy result of `probe`, which is asked at once and again after each event of `emitter`.
 * @param {import('node:events').EventEmitter} emitter
 * @param {string} event
 * @param {() => any} probe
 * @param {{timeoutMs?: number, what?: string}} [options] `what` stands in the error of a wait that took too long.
 */
export function waitOn(emitter, event, probe, { timeoutMs = 10000, what = 'an event' } = {}) {
  return new Promise((resolve, reject) => {
    let timer;
    const finish = (action, value) => {
      clearTimeout(timer);
      emitter.off(event, ask);
      action(value);
    };
    const ask = () => {
      try {
        const found = probe();
        if (found) finish(resolve, found);
      } catch (error) {
        finish(reject, error);
      }
    };
    timer = setTimeout(() => finish(reject, new WaitTimeout(`waited ${timeoutMs} ms in vain for ${what}`)), timeoutMs);
    emitter.on(event, ask);
    ask();
  });
}

/** Resolves after `milliseconds`. */
export function pause(milliseconds) {
  return new Promise((resolve) => {
    setTimeout(resolve, milliseconds);
  });
}
