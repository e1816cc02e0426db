// Random numbers that a seed makes again. Each actor of a test has a generator of its own, derived by name: what one of
// them draws does not depend on how fast the others are.

const TWO_32 = 2 ** 32;

/** FNV-1a over a text, as the seed of a derived generator. */
function hashOf(text) {
  let hash = 0x811c9dc5;
  for (const byte of Buffer.from(text)) hash = Math.imul(hash ^ byte, 0x01000193) >>> 0;
  return hash;
}

export class Random {
  #state;

  /** @param {number} seed any whole number */
  constructor(seed) {
    this.seed = seed >>> 0;
    this.#state = this.seed;
  }

  /** The seed that the environment names, or a fresh one. */
  static seedFrom(text) {
    return text === undefined || text === '' ? Math.floor(Math.random() * TWO_32) : Number(text) >>> 0;
  }

  derive(name) {
    return new Random(hashOf(`${this.seed} ${name}`));
  }

  /** In [0, 1); the generator is mulberry32. */
  next() {
    this.#state = (this.#state + 0x6d2b79f5) >>> 0;
    let mixed = this.#state;
    mixed = Math.imul(mixed ^ (mixed >>> 15), mixed | 1);
    mixed ^= mixed + Math.imul(mixed ^ (mixed >>> 7), mixed | 61);
    return ((mixed ^ (mixed >>> 14)) >>> 0) / TWO_32;
  }

  /** In [low, high). */
  between(low, high) {
    return low + this.next() * (high - low);
  }

  /** Whole, in [low, high]. */
  integer(low, high) {
    return Math.floor(this.between(low, high + 1));
  }

  chance(probability) {
    return this.next() < probability;
  }

  pick(list) {
    return list[this.integer(0, list.length - 1)];
  }

  /** One of the keys of {key: weight}. */
  weighted(weights) {
    const entries = Object.entries(weights);
    let left = this.between(
      0,
      entries.reduce((sum, [, weight]) => sum + weight, 0),
    );
    for (const [key, weight] of entries) {
      left -= weight;
      if (left < 0) return key;
    }
    return entries.at(-1)[0];
  }
}
