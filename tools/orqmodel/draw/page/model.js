// Takes apart what the page holds: the arrays, and the mesh and results that they describe.
'use strict';

function bytesOf(base64) {
  const text = atob(base64);
  const bytes = new Uint8Array(text.length);
  for (let i = 0; i < text.length; ++i) {
    bytes[i] = text.charCodeAt(i);
  }
  return bytes;
}

async function inflated(bytes) {
  const stream = new Blob([bytes]).stream().pipeThrough(new DecompressionStream('deflate'));
  return new Uint8Array(await new Response(stream).arrayBuffer());
}

/** Numbers from their lowest bytes, then their second ones and so on; see PackedArrays. */
function numbersOf(planes, count, nBytes, areDifferences) {
  const numbers = new (nBytes === 1 ? Uint8Array : nBytes === 2 ? Uint16Array : Uint32Array)(count);
  const mask = nBytes === 4 ? -1 : (1 << (8 * nBytes)) - 1;
  let before = 0;
  for (let i = 0; i < count; ++i) {
    let number = 0;
    for (let byte = 0; byte < nBytes; ++byte) {
      number |= planes[byte * count + i] << (8 * byte);
    }
    if (areDifferences) {
      before = (before + ((number >>> 1) ^ -(number & 1))) & mask;
      number = before;
    }
    numbers[i] = number;
  }
  return numbers;
}

/** All arrays, in the order of the table. */
async function arraysOf(table, bytes) {
  const arrays = [];
  let begin = 0;
  for (const [count, nBytes, areDifferences, packed] of table) {
    const planes = await inflated(bytes.subarray(begin, begin + packed));
    arrays.push(numbersOf(planes, count, nBytes, areDifferences));
    begin += packed;
  }
  return arrays;
}

const DOT = 0, LINE = 1, FACET = 2, OF_SOLID = 4;
const NO_VALUE = 65535, VALUE_STEPS = 65534, MOVE_STEPS = 32767;

/**
 * The skin: parts (facets, lines, dots) as rings of nodes.
 *
 * `unit` holds places for drawing, [nodes][3], about the middle of the model and by the half of its
 * diagonal, so that single precision is enough.
 */
class Mesh {
  constructor(description, arrays) {
    const {nodes, parts} = description;
    this.numNodes = nodes.count;
    this.numParts = parts.count;
    this.nodeLabels = arrays[nodes.labels];
    this.elementLabels = arrays[parts.labels];
    this.blocks = arrays[parts.blocks];  // counted from 1; 0 for none
    this.kinds = arrays[parts.kinds];
    this.begin = new Uint32Array(parts.count + 1);
    arrays[parts.sizes].forEach((size, part) => { this.begin[part + 1] = this.begin[part] + size; });
    let known = 0;
    this.nodes = arrays[parts.nodes].map((back) => {
      const node = known - back;
      known = Math.max(known, node + 1);
      return node;
    });
    this.readPlaces(nodes, arrays);
  }

  readPlaces({low, steps, places}, arrays) {
    const numbers = places.map((array) => arrays[array]);
    const last = numbers.map((axis) => axis.reduce((most, number) => Math.max(most, number), 0));
    const size = last.map((number, axis) => number * steps[axis]);
    this.low = low;
    this.high = low.map((value, axis) => value + size[axis]);
    this.middle = low.map((value, axis) => value + size[axis] / 2);
    this.radius = Math.hypot(...size) / 2 || 1;
    this.unit = new Float32Array(3 * this.numNodes);
    for (let node = 0; node < this.numNodes; ++node) {
      for (let axis = 0; axis < 3; ++axis) {
        this.unit[3 * node + axis] = (numbers[axis][node] * steps[axis] - size[axis] / 2) / this.radius;
      }
    }
  }

  kindOf(part) { return this.kinds[part] & 3; }
  ringOf(part) { return this.nodes.subarray(this.begin[part], this.begin[part + 1]); }
}

/** A field over time; its values are read when they are asked for. */
class Field {
  constructor(description, arrays) {
    Object.assign(this, description);
    this.arrays = arrays;
    const finite = this.frames.filter((frame) => frame.low !== undefined);
    this.low = Math.min(...finite.map((frame) => frame.low));
    this.high = Math.max(...finite.map((frame) => frame.high));
    this.hasTimes = this.frames.some((frame) => frame.time > 0);
  }

  /** Of a node, or of a part; undefined for none. */
  valueAt(frame, member) {
    const number = this.arrays[frame.array][member];
    if (number === NO_VALUE) {
      return undefined;
    }
    const along = number / VALUE_STEPS;
    return number === VALUE_STEPS ? frame.high : frame.low * (1 - along) + frame.high * along;
  }

  /** From 0 to 1 in the range of all times; -1 for none. */
  shareOf(value) {
    if (value === undefined) {
      return -1;
    }
    return this.high > this.low ? (value / 2 - this.low / 2) / (this.high / 2 - this.low / 2) : 0.5;
  }

  numBands(most) { return this.high > this.low ? most : 1; }
}

/** The frame of a time, or the last one before it; the first one when there is none before. */
function frameAt(frames, time) {
  let found = frames[0];
  for (const frame of frames) {
    found = frame.time <= time ? frame : found;
  }
  return found;
}

function isInRuns(runs, number) {
  for (let i = 0; i < runs.length; i += 2) {
    if (number >= runs[i] && number < runs[i] + runs[i + 1]) {
      return true;
    }
  }
  return false;
}

/** The numbers of runs, which are pairs of first and length. */
function* inRuns(runs) {
  for (let i = 0; i < runs.length; i += 2) {
    for (let k = 0; k < runs[i + 1]; ++k) {
      yield runs[i] + k;
    }
  }
}
