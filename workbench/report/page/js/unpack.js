// Series of 16-bit numbers: base64, deflated, predicted from the values before.

const GAP = -32768;

async function inflate(text) {
  const packed = Uint8Array.from(atob(text), (c) => c.charCodeAt(0));
  const stream = new Blob([packed]).stream().pipeThrough(new DecompressionStream("deflate"));
  return new Uint8Array(await new Response(stream).arrayBuffer());
}

// One byte says from how many values before a value is predicted; then all low bytes, then all high bytes.
async function unpackSteps(text) {
  const bytes = await inflate(text);
  const order = bytes[0];
  const count = (bytes.length - 1) / 2;
  const steps = new Int16Array(count);
  let last = 0, beforeLast = 0;
  for (let i = 0; i < count; ++i) {
    const folded = bytes[1 + i] | bytes[1 + count + i] << 8;
    const rest = (folded >> 1) ^ -(folded & 1);
    const foretold = order === 0 || i === 0 ? 0 : order === 1 || i === 1 ? last : 2 * last - beforeLast;
    steps[i] = rest + foretold; // wraps as it did when it was packed
    beforeLast = last;
    last = steps[i];
  }
  return steps;
}

// [offset, step, text] as numbers; gaps become null, which charts leave open.
async function unpackNumbers([offset, step, text]) {
  const steps = await unpackSteps(text);
  return Array.from(steps, (value) => value === GAP ? null : offset + step * value);
}
