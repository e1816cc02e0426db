// Runs the benchmarks and prints one table: each number beside a baseline that is measured in the same run. `tools/bench`
// builds, then runs this. Numbers never make it fail; a benchmark that could not run does.
//
//   node tests/bench/report.js [NAME]...     some of them: core, metervalues, lists, memory, link, drain
import fs from 'node:fs';
import { FOLDER, measureLists, measureMessageCore, measureMeterValues, measureSessionMemory } from './programs.js';
import { measureDrain, measureLink, removeStations } from './processes.js';
import { Table } from './table.js';

const MEASURES = {
  core: measureMessageCore,
  metervalues: measureMeterValues,
  lists: measureLists,
  memory: measureSessionMemory,
  link: measureLink,
  drain: measureDrain,
};

const wanted = process.argv.slice(2);
const unknown = wanted.filter((name) => !(name in MEASURES));
if (unknown.length > 0) {
  console.error(`unknown: ${unknown.join(', ')}; known: ${Object.keys(MEASURES).join(', ')}`);
  process.exit(2);
}
fs.mkdirSync(FOLDER, { recursive: true });
const table = new Table();
let failed = false;
for (const [name, measure] of Object.entries(MEASURES)) {
  if (wanted.length > 0 && !wanted.includes(name)) continue;
  process.stderr.write(`Measuring: ${name}\n`);
  try {
    await measure(table);
  } catch (error) {
    failed = true;
    console.error(`${name}: ${error.message}`);
  }
}
if (!failed) removeStations();
console.log(`${table}`);
process.exit(failed ? 1 : 0);
