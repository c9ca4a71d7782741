// What the trace viewer shows, and showing it: channels in lanes over a common time axis, and the whole recording below.

function makeTraceView(data) {
  const { rate, samples } = data;
  const triggers = [];
  if (data.triggers.first !== null) {
    triggers.push(data.triggers.first);
    for (const distance of data.triggers.distances) triggers.push(triggers[triggers.length - 1] + distance);
  }
  return {
    data, rate, samples, triggers,
    from: 0, to: samples,       // in samples
    shown: [],                  // channels, in lanes from above
    loaded: new Map(),          // channel to its traces
    microvoltsPerLane: 100,
    showBefore: true, showAfter: true, showWindows: true,
    chart: null, overview: null,
    pending: false,
  };
}

// A stretch of at least ten samples inside the recording.
function setStretch(view, from, to) {
  const length = Math.min(view.samples, Math.max(10, to - from));
  view.from = Math.max(0, Math.min(view.samples - length, from));
  view.to = view.from + length;
  scheduleTraces(view);
}

// Drawing happens once per frame, however often something changes meanwhile.
function scheduleTraces(view) {
  if (view.pending) return;
  view.pending = true;
  requestAnimationFrame(() => {
    view.pending = false;
    if (!view.chart) return;
    view.chart.setScale("x", { min: view.from / view.rate, max: view.to / view.rate });
    view.overview.redraw(false, false);
    tellPlace(view);
  });
}

function tellPlace(view) {
  const host = byId("trace-chart"), seconds = (view.to - view.from) / view.rate;
  host.dataset.from = view.from / view.rate;
  host.dataset.to = view.to / view.rate;
  const perPixel = (view.to - view.from) / Math.max(1, view.chart.bbox.width / devicePixelRatio);
  const held = view.data.traces.samplesPerBin;
  const inStretch = view.data.traces.stretches.some(([first, last]) => view.from >= first && view.to <= last + 1);
  const drawn = held > 1 && !inStretch && perPixel < held ? "lowest and highest of every " + held + " samples"
    : perPixel < 1.5 ? "every sample" : "lowest and highest sample of every pixel";
  byId("trace-place").textContent = timeText(view.from / view.rate, seconds / 100) + " to " + timeText(view.to / view.rate, seconds / 100)
    + " (" + sensible(seconds) + " s), " + drawn + ".";
}

function chartHeight(lanes) {
  return 56 + Math.round(lanes <= 1 ? 260 : Math.max(13 * lanes, Math.min(lanes * 110, 560)));
}

function viewGeometry(u, from, to) {
  const { left, width } = u.bbox;
  const perSample = width / (to - from);
  return { from, to, samplesPerPixel: (to - from) / (width / devicePixelRatio), xOf: (sample) => left + (sample - from) * perSample };
}

function drawTraces(view, u) {
  const started = performance.now();
  const ctx = u.ctx, box = u.bbox, lanes = view.shown.length;
  const geometry = viewGeometry(u, view.from, view.to);
  ctx.save();
  ctx.beginPath();
  ctx.rect(box.left, box.top, box.width, box.height);
  ctx.clip();
  ctx.lineWidth = devicePixelRatio;
  ctx.lineJoin = "bevel"; // pointed joins of steep lines would reach far out
  if (view.showWindows) {
    drawTriggers(ctx, box, geometry, view.triggers, view.data.window, { window: colour("window"), mark: colour("mark") });
  }
  const laneHeight = box.height / Math.max(1, lanes);
  const pixelsPerMicrovolt = laneHeight / view.microvoltsPerLane;
  const before = colour("before"), after = colour("after");
  view.shown.forEach((channel, i) => {
    const traces = view.loaded.get(channel);
    if (!traces) return;
    const middleY = box.top + (i + 0.5) * laneHeight;
    const lane = { middleY, middle: middleOf(traces.after, view.from, view.to), pixelsPerMicrovolt,
      top: middleY - 0.6 * laneHeight, bottom: middleY + 0.6 * laneHeight };
    if (view.showBefore) {
      ctx.globalAlpha = view.showAfter ? 0.5 : 1; // what is left stands in front
      drawTrace(ctx, traces.before, lane, geometry, before);
      ctx.globalAlpha = 1;
    }
    if (view.showAfter) drawTrace(ctx, traces.after, lane, geometry, after);
  });
  drawScaleBar(ctx, box, pixelsPerMicrovolt, colour("ink"), colour("paper"));
  ctx.restore();
  byId("trace-chart").dataset.drawMs = (performance.now() - started).toFixed(1);
}

function drawOverview(view, u) {
  const ctx = u.ctx, box = u.bbox;
  const traces = view.loaded.get(view.shown[0]);
  const geometry = viewGeometry(u, 0, view.samples);
  ctx.save();
  ctx.beginPath();
  ctx.rect(box.left, box.top, box.width, box.height);
  ctx.clip();
  ctx.lineWidth = devicePixelRatio;
  ctx.lineJoin = "bevel";
  if (traces) {
    const range = valueRange(traces.before, 0, view.samples) || { low: -1, high: 1 };
    const height = Math.max(range.high - range.low, 1e-12);
    const lane = { middleY: box.top + box.height / 2, middle: (range.low + range.high) / 2, pixelsPerMicrovolt: 0.94 * box.height / height,
      top: box.top, bottom: box.top + box.height };
    drawTrace(ctx, traces.before, lane, geometry, colour("before"));
    drawTrace(ctx, traces.after, lane, geometry, colour("after"));
  }
  ctx.fillStyle = colour("truth");
  for (const [first, last] of view.data.traces.stretches) {
    ctx.fillRect(geometry.xOf(first), box.top + box.height - 4 * devicePixelRatio, geometry.xOf(last) - geometry.xOf(first), 4 * devicePixelRatio);
  }
  const left = geometry.xOf(view.from), width = Math.max(3 * devicePixelRatio, geometry.xOf(view.to) - left);
  ctx.fillStyle = faintColour("ink", 0.12);
  ctx.fillRect(left, box.top, width, box.height);
  ctx.strokeStyle = colour("ink");
  ctx.strokeRect(left, box.top + 0.5, width, box.height - 1);
  ctx.restore();
}

function laneChart(view, width) {
  const lanes = view.shown.length;
  const every = Math.max(1, Math.ceil(13 / ((chartHeight(lanes) - 56) / Math.max(1, lanes))));
  const u = new uPlot({
    width, height: chartHeight(lanes), legend: { show: false },
    series: [{}, { show: false }],
    scales: { x: { time: false, min: view.from / view.rate, max: view.to / view.rate }, y: { range: () => [0, Math.max(1, lanes)] } },
    axes: [axis("Time (s)", { size: 32 }), axis("Channel", {
      grid: { show: false }, ticks: { show: false }, size: 46,
      splits: () => view.shown.map((_, i) => lanes - i - 0.5),
      values: () => view.shown.map((channel, i) => i % every === 0 ? String(channel + 1) : ""),
    })],
    cursor: { drag: { x: false, y: false, setScale: false }, y: false, points: { show: false } },
    hooks: { draw: [(chart) => drawTraces(view, chart)] },
  }, [[0, view.samples / view.rate], [null, null]], byId("trace-chart"));
  return u;
}

function overviewChart(view, width) {
  return new uPlot({
    width, height: 120, legend: { show: false },
    series: [{}, { show: false }],
    scales: { x: { time: false, min: 0, max: view.samples / view.rate }, y: { range: () => [0, 1] } },
    axes: [axis("Whole recording (s)", { size: 32 }), { show: true, size: 68, grid: { show: false }, ticks: { show: false }, values: () => [] }],
    cursor: { show: false },
    hooks: { draw: [(chart) => drawOverview(view, chart)] },
  }, [[0, view.samples / view.rate], [null, null]], byId("trace-overview"));
}

// Loads what is not there yet, then shows these channels.
async function showTraceChannels(view, channels) {
  view.shown = channels;
  const missing = channels.filter((channel) => !view.loaded.has(channel));
  await Promise.all(missing.map(async (channel) => view.loaded.set(channel, await loadChannel(view.data, channel))));
  if (view.shown !== channels) return; // chosen anew meanwhile
  view.drawAgain();
}

// Lets one of the two recordings fill the lanes: the median range of the channels in the view.
function fitLanes(view, which) {
  const ranges = [];
  for (const channel of view.shown) {
    const found = view.loaded.has(channel) && valueRange(view.loaded.get(channel)[which], view.from, view.to);
    if (found) ranges.push(found.high - found.low);
  }
  ranges.sort((a, b) => a - b);
  const typical = ranges[Math.floor(ranges.length / 2)];
  view.microvoltsPerLane = typical > 0 ? 1.1 * typical : view.microvoltsPerLane;
  scheduleTraces(view);
}
