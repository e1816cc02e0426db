// A stand-in for the process under control: it serves "SeccGenCtrl" as the contract says and listens to its siblings.
import { ServiceClient, ServiceServer, readDirectory } from '../lib/iipc.js';

const NEXT = { 1: { Disable: 2 }, 2: { Disable: 2, Enable: 3 }, 3: { Disable: 2, Enable: 3 } };

const ENABLED = 3;

export class FakeSecc {
  constructor(root) {
    const addresses = readDirectory(root);
    this.state = 1;
    this.heard = [];
    /** Whether it tells its approval when it is enabled. */
    this.tellsApproval = true;
    const control = (request) => () => {
      const state = NEXT[this.state][request];
      if (state === undefined) return { result: 1 };
      this.state = state;
      setImmediate(() => this.#entered(state));
      return { result: 0 };
    };
    this.server = new ServiceServer(
      'SeccGenCtrl',
      addresses.SeccGenCtrl,
      { Enable: control('Enable'), Disable: control('Disable') },
      { greet: () => [{ state: { state: this.state } }] },
    );
    this.siblings = Object.fromEntries(
      Object.entries(addresses)
        .filter(([name]) => !name.startsWith('Secc'))
        .map(([name, address]) => [name, new ServiceClient(name, address, 'Secc')]),
    );
    for (const [name, client] of Object.entries(this.siblings)) {
      client.on('notification', (message) =>
        this.heard.push({ name, kind: message.notification, message: message[message.notification] }),
      );
    }
  }

  #entered(state) {
    this.server.notify({ state: { state } });
    // A test may end in between.
    if (state === ENABLED && this.tellsApproval)
      this.call('SessionManager', 'SetExternalChargeApproval', { approved: true }).catch(() => {});
  }

  async start() {
    await this.server.start();
    for (const client of Object.values(this.siblings)) client.listen();
    return this;
  }

  /** Ends as a process does that is killed. */
  async kill() {
    await this.server.kill();
    for (const client of Object.values(this.siblings)) client.close();
  }

  call(name, method, request) {
    return this.siblings[name].call(method, request);
  }

  /** Notifications of one kind, in order. */
  of(kind) {
    return this.heard.filter((entry) => entry.kind === kind).map(({ message }) => message);
  }
}
