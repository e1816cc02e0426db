// A story on the console: numbered sentences, each with what was seen, and whether it came out well.
import fs from 'node:fs';

const LAST_LINES = 30;

export class Story {
  #sentences = 0;
  #failures = 0;

  /** Begins a part of the story. */
  chapter(title) {
    console.log(`\n${title}\n${'-'.repeat(title.length)}`);
  }

  /** Tells what happened. @param {object} [details] shown beneath */
  tell(text, details = {}) {
    this.#sentences += 1;
    console.log(`${String(this.#sentences).padStart(2)}. ${text}`);
    for (const [name, value] of Object.entries(details))
      console.log(`      ${name}: ${typeof value === 'object' ? JSON.stringify(value) : value}`);
  }

  /** Shows lines beneath the last sentence. */
  show(lines) {
    for (const line of lines) console.log(`      ${line}`);
  }

  /** Tells what happened, and notes a failure unless `condition` holds. */
  expect(condition, text) {
    if (!condition) this.#failures += 1;
    this.tell(condition ? text : `NOT AS EXPECTED: ${text}`);
  }

  /** Tells what went wrong, with the last lines of a log. */
  fail(text, logFile) {
    this.#failures += 1;
    console.log(`\nFAILED: ${text}`);
    if (!fs.existsSync(logFile)) return;
    console.log(`The last lines of ${logFile}:`);
    console.log(
      fs
        .readFileSync(logFile, 'utf8')
        .trimEnd()
        .split('\n')
        .slice(-LAST_LINES)
        .map((line) => `  ${line}`)
        .join('\n'),
    );
  }

  /** The last sentence; gives the exit status. */
  end() {
    console.log(
      this.#failures === 0 ? '\nThe demo went well.' : `\nThe demo did not go well: ${this.#failures} failure(s).`,
    );
    return this.#failures === 0 ? 0 : 1;
  }
}
