// The one place where npm packages come in. They are looked for in `build/node` of the repository, where the tools
// install them so that the source tree stays clean, and then beside this folder, where a plain `npm ci` puts them.
import { createRequire } from 'node:module';
import path from 'node:path';
import { fileURLToPath } from 'node:url';

export const REPOSITORY = path.resolve(path.dirname(fileURLToPath(import.meta.url)), '../..');

const places = [path.join(REPOSITORY, 'build/node/'), path.join(REPOSITORY, 'simulator/')].map((folder) =>
  createRequire(folder),
);

function load(name) {
  for (const require of places) {
    try {
      return require(name);
    } catch (error) {
      if (error.code !== 'MODULE_NOT_FOUND') throw error;
    }
  }
  throw new Error(`the npm package of ${name} is not installed; run "npm ci" in ${path.join(REPOSITORY, 'simulator')}`);
}

export const grpc = load('@grpc/grpc-js');
export const protoLoader = load('@grpc/proto-loader');
export const { Sender, WebSocket, WebSocketServer } = load('ws');
/** Validators of the published schemas, one per OCPP version. */
export const schemaValidators = load('ocpp-rpc/lib/standard-validators');
