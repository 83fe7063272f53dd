// Pieces of the page, unpacked when they are first looked at, and columns of numbers in them. The
// other side of this is tools/page/encode.cc.

const pieces = new Map();

async function unpack(text) {
  const letters = atob(text);
  const bytes = new Uint8Array(letters.length);
  for (let i = 0; i < bytes.length; ++i) bytes[i] = letters.charCodeAt(i);
  const stream = new Blob([bytes]).stream().pipeThrough(new DecompressionStream("deflate-raw"));
  return new Uint8Array(await new Response(stream).arrayBuffer());
}

// The bytes of a piece. The text of the page stays; what was unpacked is kept while there is room.
function piece(number) {
  let bytes = pieces.get(number);
  if (bytes) {
    pieces.delete(number);
  } else {
    bytes = unpack(document.getElementById("piece-" + number).textContent);
    if (pieces.size >= 160) pieces.delete(pieces.keys().next().value);
  }
  pieces.set(number, bytes);
  return bytes;
}

async function pieceText(number) {
  return new TextDecoder().decode(await piece(number));
}

const FORM = { nothing: 0, constant: 1, integers: 2, doubles: 3, floats: 4 };
const FORMULAS = {
  5: (ops, ms) => (ms > 0 ? ops / (ms / 1000) : NaN),
  6: (ops, ms) => (ms > 0 ? (ops * 1000) / ms : NaN),
  7: (ops, ms, second) => {
    if (!(ms > 0) || Number.isNaN(ops)) return NaN;
    return (Number.isNaN(second) ? 0 : second * ops) / (ms / 1000) / 1024;
  },
};
const SCALES = [1, 100, 1000];

// Reads columns one behind the other.
class Columns {
  constructor(bytes, at = 0) {
    this.bytes = bytes;
    this.view = new DataView(bytes.buffer, bytes.byteOffset, bytes.byteLength);
    this.at = at;
  }

  double() {
    this.at += 8;
    return this.view.getFloat64(this.at - 8, true);
  }

  // The next column, of `count` numbers; NaN where there is none. Of a column that follows from
  // others: the formula.
  next(count) {
    const form = this.bytes[this.at++];
    if (FORMULAS[form]) return FORMULAS[form];
    const numbers = new Float64Array(count);
    if (form === FORM.nothing) return numbers.fill(NaN);
    if (form === FORM.constant) return numbers.fill(this.double());
    if (form === FORM.integers) return this.integers(numbers);
    return this.floating(numbers, form === FORM.doubles ? 8 : 4);
  }

  integers(numbers) {
    const width = this.bytes[this.at++];
    const scale = SCALES[this.bytes[this.at++]];
    const least = this.double();
    let unit = 1;
    for (let plane = 0; plane < width; ++plane, unit *= 256) {
      for (let i = 0; i < numbers.length; ++i) numbers[i] += this.bytes[this.at++] * unit;
    }
    for (let i = 0; i < numbers.length; ++i) {
      numbers[i] = numbers[i] === 0 ? NaN : (numbers[i] - 1 + least) / scale;
    }
    return numbers;
  }

  floating(numbers, width) {
    const count = numbers.length;
    const whole = new Uint8Array(width * count);
    for (let plane = 0; plane < width; ++plane, this.at += count) {
      for (let i = 0; i < count; ++i) whole[i * width + plane] = this.bytes[this.at + i];
    }
    const view = new DataView(whole.buffer);
    for (let i = 0; i < count; ++i) {
      numbers[i] = width === 8 ? view.getFloat64(8 * i, true) : view.getFloat32(4 * i, true);
    }
    return numbers;
  }

  // Values of resources over steps, as parts of the largest of each.
  matrix(resources, steps, wide) {
    const scales = this.next(resources);
    const low = this.at;
    const high = low + resources * steps;
    this.at = high + (wide ? resources * steps : 0);
    const bytes = this.bytes;
    const levels = wide ? 65534 : 254;
    return (resource, step) => {
      const place = resource * steps + step;
      const code = bytes[low + place] + (wide ? bytes[high + place] * 256 : 0);
      return code === 0 ? NaN : ((code - 1) / levels) * scales[resource];
    };
  }
}
