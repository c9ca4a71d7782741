// The samples of a trace on several levels of detail: lowest and highest value of 1, 2, 4, ... stored bins.

// Level 0 is what the file holds. Gaps are left out of a bin as long as it holds anything else.
function buildLevels(low, high, samplesPerBin) {
  const levels = [{ low, high, samplesPerBin }];
  while (low.length > 256) {
    const count = Math.ceil(low.length / 2);
    const nextLow = new Int16Array(count), nextHigh = new Int16Array(count);
    for (let i = 0; i < count; ++i) {
      const a = 2 * i, b = Math.min(a + 1, low.length - 1);
      nextLow[i] = low[a] === GAP ? low[b] : low[b] === GAP ? low[a] : Math.min(low[a], low[b]);
      nextHigh[i] = Math.max(high[a], high[b]); // a gap is the lowest of all
    }
    low = nextLow;
    high = nextHigh;
    samplesPerBin *= 2;
    levels.push({ low, high, samplesPerBin });
  }
  return levels;
}

// What the page holds of one channel: for before and after the levels of the whole recording, and of every stretch that
// is there sample by sample.
async function loadChannel(data, channel) {
  const { samplesPerBin, stretches, before, after, stretchBefore, stretchAfter } = data.traces;
  const texts = byId("trace-" + channel).textContent.trim().split("\n");
  const series = await Promise.all(texts.map(unpackSteps));
  let next = 0;
  const whole = () => {
    const low = series[next++];
    if (samplesPerBin === 1) return buildLevels(low, low, 1);
    const range = series[next++];
    return buildLevels(low, low.map((value, i) => value + range[i]), samplesPerBin);
  };
  const part = ([first], scales) => {
    const samples = series[next++];
    const [offset, step] = scales[channel];
    return { first, last: first + samples.length - 1, offset, step, levels: buildLevels(samples, samples, 1) };
  };
  const trace = (scales) => ({ offset: scales[channel][0], step: scales[channel][1], stretches: [] });
  const traces = { before: trace(before), after: trace(after) };
  traces.before.levels = whole();
  traces.after.levels = whole();
  for (const stretch of stretches) {
    traces.before.stretches.push(part(stretch, stretchBefore));
    traces.after.stretches.push(part(stretch, stretchAfter));
  }
  return traces;
}

// The pieces that show a trace from one sample to another: stretches where every sample is there and wanted, and the whole
// recording's levels between them.
function pieces(trace, from, to, samplesPerPixel) {
  const ofWhole = (begin, end) => ({ from: begin, to: end, first: 0, offset: trace.offset, step: trace.step, levels: trace.levels });
  if (trace.levels[0].samplesPerBin === 1 || samplesPerPixel >= trace.levels[0].samplesPerBin) {
    return [ofWhole(from, to)];
  }
  const found = [];
  let at = from;
  for (const stretch of trace.stretches) {
    const begin = Math.max(at, stretch.first), end = Math.min(to, stretch.last + 1);
    if (begin >= end) continue;
    if (begin > at) found.push(ofWhole(at, begin));
    found.push({ ...stretch, from: begin, to: end });
    at = end;
  }
  if (at < to) found.push(ofWhole(at, to));
  return found;
}

// The coarsest level that still has a bin for every pixel.
function levelFor(levels, samplesPerPixel) {
  let chosen = levels[0];
  for (const level of levels) {
    if (level.samplesPerBin <= samplesPerPixel) chosen = level;
  }
  return chosen;
}

// Lowest and highest value (microvolts) in a part of the recording; null where there is nothing but gaps.
function valueRange(trace, from, to) {
  const level = levelFor(trace.levels, (to - from) / 500);
  const begin = Math.max(0, Math.floor(from / level.samplesPerBin));
  const end = Math.min(level.low.length, Math.max(begin + 1, Math.ceil(to / level.samplesPerBin)));
  let low = 32767, high = GAP;
  for (let bin = begin; bin < end; ++bin) {
    if (level.low[bin] !== GAP && level.low[bin] < low) low = level.low[bin];
    if (level.high[bin] > high) high = level.high[bin];
  }
  return high === GAP ? null : { low: trace.offset + trace.step * low, high: trace.offset + trace.step * high };
}

// The mean of the middles of some 500 bins: where a trace lies in its lane.
function middleOf(trace, from, to) {
  const level = levelFor(trace.levels, (to - from) / 500);
  const begin = Math.max(0, Math.floor(from / level.samplesPerBin));
  const end = Math.min(level.low.length, Math.max(begin + 1, Math.ceil(to / level.samplesPerBin)));
  let sum = 0, count = 0;
  for (let bin = begin; bin < end; ++bin) {
    if (level.low[bin] === GAP) continue;
    sum += (level.low[bin] + level.high[bin]) / 2;
    ++count;
  }
  return count ? trace.offset + trace.step * sum / count : trace.offset;
}
