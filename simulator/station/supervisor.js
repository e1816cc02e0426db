// The supervisor's side of process control: takes a process that comes up through Disable and Enable, follows its state,
// and watches its signs of life.
import { EventEmitter } from 'node:events';
import { ServiceClient, enumText, enumeration } from '../lib/iipc.js';

const SIGN_OF_LIFE_MS = 10000;

/**
 * Events: 'state' (number) for each report; 'restarted' when the process came up anew; 'enabled'; 'alive'; 'lost' when
 * the process has gone; 'silent' when its signs of life stay away.
 */
export class Supervisor extends EventEmitter {
  #client;
  #drive;
  #states = enumeration('EState');
  #watch = null;

  /** @param {object} options `drive`: false leaves Disable and Enable to the caller */
  constructor({ name, address, drive = true }) {
    super();
    this.name = name;
    this.#drive = drive;
    this.state = this.#states.EStateInvalid;
    /** Every state that was reported, in order, as texts. */
    this.reports = [];
    this.alive = 0;
    this.lastAlive = null;
    this.#client = new ServiceClient(name, address, 'Supervisor');
    this.#client.on('notification', (message) => this.#notified(message));
    this.#client.on('stream', (open) => this.#streamed(open));
  }

  start() {
    this.#client.listen();
    this.#watch = setInterval(() => this.#checkAlive(), SIGN_OF_LIFE_MS / 2);
    this.#watch.unref();
  }

  get stateText() {
    return enumText('EState', this.state).replace('EState', '');
  }

  /** The process has reported a state, and has not gone since. */
  get isKnown() {
    return this.state !== this.#states.EStateInvalid;
  }

  get isEnabled() {
    return this.state === this.#states.EStateEnabled;
  }

  async enable(options) {
    return (await this.#client.call('Enable', {}, options)).result;
  }

  async disable(options) {
    return (await this.#client.call('Disable', {}, options)).result;
  }

  #streamed(open) {
    if (open) return;
    this.state = this.#states.EStateInvalid;
    this.emit('lost');
    this.emit('state', this.state);
  }

  #notified(message) {
    if (message.notification === 'alive') {
      this.alive += 1;
      this.lastAlive = Date.now();
      this.emit('alive');
      return;
    }
    if (message.notification === 'state') this.#reported(message.state.state);
  }

  #reported(state) {
    this.state = state;
    this.reports.push(this.stateText);
    if (state === this.#states.EStateUninitialized) this.emit('restarted');
    this.emit('state', state);
    if (state === this.#states.EStateEnabled) this.emit('enabled');
    if (this.#drive) this.#next(state);
  }

  /** Drives the process to Enabled. After a recovered error it comes back to Disabled and is enabled again. */
  #next(state) {
    const step = { [this.#states.EStateUninitialized]: 'disable', [this.#states.EStateDisabled]: 'enable' }[state];
    if (step) this[step]().catch((error) => this.emit('trouble', `${step} failed: ${error.message}`));
  }

  #checkAlive() {
    if (!this.isEnabled || this.lastAlive === null) return;
    if (Date.now() - this.lastAlive > SIGN_OF_LIFE_MS) this.emit('silent');
  }

  /** Stops driving: Disable and Enable are up to the caller from here on. */
  release() {
    this.#drive = false;
  }

  close() {
    clearInterval(this.#watch);
    this.#client.close();
  }
}
