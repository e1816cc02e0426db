// A `secc` that lives at another time of the day: its system clock runs ahead of the machine's.
import { execFileSync } from 'node:child_process';
import fs from 'node:fs';
import path from 'node:path';
import { fileURLToPath } from 'node:url';

const SOURCE = fileURLToPath(new URL('shiftedclock.cpp', import.meta.url));
const WITHIN = '/shiftedclock.so';

/**
 * Options for `startSecc` of a process whose clock shows `time` (milliseconds since the epoch, in the future) at its start.
 * @param {string} folder where the library is built
 */
export function shiftedTo(time, folder) {
  const library = path.join(folder, 'shiftedclock.so');
  if (!fs.existsSync(library))
    execFileSync('c++', ['-std=c++17', '-O1', '-shared', '-fPIC', '-o', library, SOURCE], { stdio: 'pipe' });
  return {
    mounts: [
      ...['--ro-bind', library, WITHIN],
      ...['--setenv', 'LD_PRELOAD', WITHIN],
      ...['--setenv', 'CLOCK_SHIFT_MS', String(Math.round(time - Date.now()))],
    ],
  };
}
