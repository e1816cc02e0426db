// Board control and the safety controller: what little of them shows at their services.
import { EventEmitter } from 'node:events';

/** Events: 'reset' (hard), 'install' (initiator), 'firmware' (EFwUpdateStatus), 'mains-lost'. */
export class Board extends EventEmitter {
  #clock;

  constructor({ clock, installMs = 1000 }) {
    super();
    this.#clock = clock;
    this.installMs = installMs;
    /** Resets that were accepted: {hard, time}. */
    this.resets = [];
    /** Resets that are still refused before one is accepted. */
    this.refuseResets = 0;
    this.refuseInstall = false;
    /** EFwUpdateStatus with which the next installations end. */
    this.firmwareOutcome = 0;
  }

  reset(hard) {
    if (this.refuseResets > 0) {
      this.refuseResets -= 1;
      return false;
    }
    this.resets.push({ hard, time: this.#clock.now() });
    this.emit('reset', hard);
    return true;
  }

  install(initiator) {
    if (this.refuseInstall) return false;
    this.emit('install', initiator);
    this.#clock.after(this.installMs, () => this.emit('firmware', this.firmwareOutcome));
    return true;
  }

  loseMains() {
    this.emit('mains-lost');
  }
}

/** Events: 'temperatures' (MMcuStatus). */
export class SafetyController extends EventEmitter {
  constructor() {
    super();
    this.status = {
      state: 3,
      relay1_temperature: 24,
      relay2_temperature: 23.5,
      eld_temperature: 25,
      mcu_temperature: 26,
    };
  }

  /** @param {object} temperatures members of MMcuStatus in degrees Celsius; null takes one away */
  setTemperatures(temperatures) {
    this.status = { ...this.status, ...temperatures };
    for (const [name, value] of Object.entries(temperatures)) if (value === null) delete this.status[name];
    this.report();
  }

  report() {
    this.emit('temperatures', this.status);
  }
}
