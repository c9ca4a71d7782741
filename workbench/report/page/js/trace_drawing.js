// Drawing one trace into its lane, and the marks of triggers and windows.

// A lane in canvas pixels: microvolts become y = middleY - (value - middle) * pixelsPerMicrovolt, cut at top and bottom.
function laneY(lane, value) {
  const y = lane.middleY - (value - lane.middle) * lane.pixelsPerMicrovolt;
  return y < lane.top ? lane.top : y > lane.bottom ? lane.bottom : y;
}

// Few samples per pixel: a line from sample to sample.
function lineThroughSamples(ctx, piece, lane, xOf) {
  const { low } = piece.levels[0];
  const begin = Math.max(0, Math.floor(piece.from - piece.first) - 1);
  const end = Math.min(low.length, Math.ceil(piece.to - piece.first) + 1);
  let open = false;
  for (let i = begin; i < end; ++i) {
    if (low[i] === GAP) {
      open = false;
      continue;
    }
    const x = xOf(piece.first + i), y = laneY(lane, piece.offset + piece.step * low[i]);
    if (open) ctx.lineTo(x, y);
    else ctx.moveTo(x, y);
    open = true;
  }
}

// Many samples per pixel: the lowest and the highest of every pixel column, joined so that no gap shows between columns.
function lineThroughExtremes(ctx, piece, lane, xOf, samplesPerPixel) {
  const level = levelFor(piece.levels, samplesPerPixel);
  const scale = piece.step * lane.pixelsPerMicrovolt;
  const zero = lane.middleY - (piece.offset - lane.middle) * lane.pixelsPerMicrovolt;
  const { top, bottom } = lane;
  const { low: lows, high: highs, samplesPerBin } = level;
  const step = Math.max(samplesPerPixel, samplesPerBin);
  let open = false;
  for (let from = piece.from; from < piece.to; from += step) {
    const begin = Math.max(0, Math.floor((from - piece.first) / samplesPerBin));
    const end = Math.min(lows.length, Math.max(begin + 1, Math.ceil((from + step - piece.first) / samplesPerBin)));
    let low = 32767, high = GAP;
    for (let bin = begin; bin < end; ++bin) {
      if (lows[bin] !== GAP && lows[bin] < low) low = lows[bin];
      if (highs[bin] > high) high = highs[bin];
    }
    if (high === GAP) {
      open = false;
      continue;
    }
    const x = xOf(from);
    const yLow = Math.min(bottom, Math.max(top, zero - scale * low));
    const yHigh = Math.min(bottom, Math.max(top, zero - scale * high));
    if (open) ctx.lineTo(x, yLow);
    else ctx.moveTo(x, yLow);
    if (yHigh !== yLow) ctx.lineTo(x, yHigh);
    open = true;
  }
}

// Closer than the page's bins: each one is a box from its lowest to its highest value. A line would look like a signal.
function boxesOfBins(ctx, piece, lane, xOf, fill) {
  const { low, high, samplesPerBin } = piece.levels[0];
  const begin = Math.max(0, Math.floor((piece.from - piece.first) / samplesPerBin));
  const end = Math.min(low.length, Math.ceil((piece.to - piece.first) / samplesPerBin));
  ctx.save();
  ctx.globalAlpha *= 0.45;
  ctx.fillStyle = fill;
  for (let bin = begin; bin < end; ++bin) {
    if (low[bin] === GAP) continue;
    const left = xOf(Math.max(piece.from, piece.first + bin * samplesPerBin));
    const right = xOf(Math.min(piece.to, piece.first + (bin + 1) * samplesPerBin));
    const top = laneY(lane, piece.offset + piece.step * high[bin]), bottom = laneY(lane, piece.offset + piece.step * low[bin]);
    ctx.fillRect(left, top, right - left, Math.max(devicePixelRatio, bottom - top));
  }
  ctx.restore();
}

function drawTrace(ctx, trace, lane, view, stroke) {
  ctx.beginPath();
  ctx.strokeStyle = stroke;
  for (const piece of pieces(trace, view.from, view.to, view.samplesPerPixel)) {
    if (piece.levels[0].samplesPerBin > 1.5 * view.samplesPerPixel && piece.levels[0].samplesPerBin > 1) {
      boxesOfBins(ctx, piece, lane, view.xOf, stroke);
    } else if (piece.levels[0].samplesPerBin === 1 && view.samplesPerPixel < 1.5) {
      lineThroughSamples(ctx, piece, lane, view.xOf);
    } else {
      lineThroughExtremes(ctx, piece, lane, view.xOf, view.samplesPerPixel);
    }
  }
  ctx.stroke();
}

// The first place in an ascending list whose value is at least `value`.
function firstAtLeast(list, value) {
  let begin = 0, end = list.length;
  while (begin < end) {
    const middle = (begin + end) >> 1;
    if (list[middle] < value) begin = middle + 1;
    else end = middle;
  }
  return begin;
}

// Windows as bands, triggers as lines; where they would run together, as marks at the upper edge.
function drawTriggers(ctx, box, view, triggers, [pre, post], colours) {
  const begin = firstAtLeast(triggers, view.from - post), end = firstAtLeast(triggers, view.to + pre + 1);
  const perTrigger = box.width / Math.max(1, end - begin) / devicePixelRatio;
  const bands = perTrigger > 6;
  ctx.fillStyle = colours.window;
  if (bands) {
    for (let i = begin; i < end; ++i) {
      const from = Math.max(box.left, view.xOf(triggers[i] - pre));
      const to = Math.min(box.left + box.width, view.xOf(triggers[i] + post));
      if (to > from) ctx.fillRect(from, box.top, to - from, box.height);
    }
  }
  ctx.beginPath();
  ctx.strokeStyle = colours.mark;
  let last = -Infinity;
  for (let i = begin; i < end; ++i) {
    const x = Math.round(view.xOf(triggers[i])) + 0.5;
    if (x - last < 1 || x < box.left || x > box.left + box.width) continue;
    last = x;
    ctx.moveTo(x, box.top);
    ctx.lineTo(x, bands ? box.top + box.height : box.top + 7 * devicePixelRatio);
  }
  ctx.setLineDash(bands ? [2, 4] : []);
  ctx.stroke();
  ctx.setLineDash([]);
}

// A bar of a round number of microvolts at the right edge.
function drawScaleBar(ctx, box, pixelsPerMicrovolt, ink, paper) {
  const room = Math.min(60 * devicePixelRatio, box.height / 3);
  const most = room / pixelsPerMicrovolt;
  const power = Math.pow(10, Math.floor(Math.log10(most)));
  const bar = power * (most >= 5 * power ? 5 : most >= 2 * power ? 2 : 1);
  const x = box.left + box.width - 10 * devicePixelRatio;
  const bottom = box.top + box.height - 8 * devicePixelRatio, top = bottom - bar * pixelsPerMicrovolt;
  const text = sensible(bar).replace(/\.0+$/, "") + " \u00b5V";
  ctx.font = "600 " + 12 * devicePixelRatio + "px system-ui, sans-serif";
  const width = ctx.measureText(text).width;
  ctx.fillStyle = paper;
  ctx.globalAlpha = 0.8;
  ctx.fillRect(x - width - 14 * devicePixelRatio, top - 6 * devicePixelRatio, width + 20 * devicePixelRatio, bottom - top + 12 * devicePixelRatio);
  ctx.globalAlpha = 1;
  ctx.strokeStyle = ctx.fillStyle = ink;
  ctx.lineWidth = 2 * devicePixelRatio;
  ctx.beginPath();
  ctx.moveTo(x, bottom);
  ctx.lineTo(x, top);
  ctx.stroke();
  ctx.textAlign = "right";
  ctx.textBaseline = "middle";
  ctx.fillText(text, x - 6 * devicePixelRatio, (top + bottom) / 2);
}
