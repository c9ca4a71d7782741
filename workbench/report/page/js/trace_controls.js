// Mouse, keys and buttons of the trace viewer.

function zoomTraces(view, factor, centre) {
  const middle = centre === undefined ? (view.from + view.to) / 2 : centre;
  const length = Math.min(view.samples, Math.max(10, (view.to - view.from) * factor));
  const share = (middle - view.from) / (view.to - view.from);
  setStretch(view, middle - share * length, middle - share * length + length);
}

function moveTraces(view, share) {
  const by = share * (view.to - view.from);
  const length = view.to - view.from;
  const from = Math.max(0, Math.min(view.samples - length, view.from + by));
  setStretch(view, from, from + length);
}

function scaleTraces(view, factor) {
  view.microvoltsPerLane *= factor;
  scheduleTraces(view);
}

// Puts the next trigger (direction 1) or the one before (-1) into the middle of the view.
function goToTrigger(view, direction) {
  const middle = (view.from + view.to) / 2;
  const at = direction > 0 ? firstAtLeast(view.triggers, middle + 0.75) : firstAtLeast(view.triggers, middle - 0.75) - 1;
  if (at < 0 || at >= view.triggers.length) return;
  moveTraces(view, (view.triggers[at] - middle) / (view.to - view.from));
}

function sampleAt(view, event, over) {
  const box = over.getBoundingClientRect();
  return view.from + (event.clientX - box.left) / box.width * (view.to - view.from);
}

// Called for every new chart: its plotting area is a new element.
function listenToMouse(view, over) {
  let dragged = null;
  over.addEventListener("pointerdown", (event) => {
    if (event.button !== 0) return;
    dragged = { x: event.clientX, from: view.from, to: view.to };
    over.setPointerCapture(event.pointerId);
    byId("trace-chart").classList.add("dragging");
  });
  over.addEventListener("pointermove", (event) => {
    if (!dragged) return;
    const length = dragged.to - dragged.from;
    const by = (dragged.x - event.clientX) / over.clientWidth * length;
    const from = Math.max(0, Math.min(view.samples - length, dragged.from + by));
    setStretch(view, from, from + length);
  });
  const drop = () => {
    dragged = null;
    byId("trace-chart").classList.remove("dragging");
  };
  over.addEventListener("pointerup", drop);
  over.addEventListener("pointercancel", drop);
  over.addEventListener("wheel", (event) => {
    event.preventDefault();
    if (Math.abs(event.deltaX) > Math.abs(event.deltaY)) moveTraces(view, event.deltaX / over.clientWidth);
    else zoomTraces(view, Math.pow(1.0015, Math.max(-300, Math.min(300, event.deltaY))), sampleAt(view, event, over));
  }, { passive: false });
}

function listenToOverview(view, over) {
  let held = false;
  const go = (event) => {
    const box = over.getBoundingClientRect();
    const sample = (event.clientX - box.left) / box.width * view.samples;
    moveTraces(view, (sample - (view.from + view.to) / 2) / (view.to - view.from));
  };
  over.addEventListener("pointerdown", (event) => {
    held = true;
    over.setPointerCapture(event.pointerId);
    go(event);
  });
  over.addEventListener("pointermove", (event) => held && go(event));
  over.addEventListener("pointerup", () => { held = false; });
  over.addEventListener("pointercancel", () => { held = false; });
}

function listenToKeys(view) {
  const actions = {
    ArrowLeft: () => moveTraces(view, -0.25), ArrowRight: () => moveTraces(view, 0.25),
    PageUp: () => moveTraces(view, -1), PageDown: () => moveTraces(view, 1),
    ArrowUp: () => scaleTraces(view, 1 / 1.4), ArrowDown: () => scaleTraces(view, 1.4),
    "+": () => zoomTraces(view, 0.5), "=": () => zoomTraces(view, 0.5), "-": () => zoomTraces(view, 2),
    0: () => setStretch(view, 0, view.samples), Home: () => moveTraces(view, -1e9), End: () => moveTraces(view, 1e9),
    n: () => goToTrigger(view, 1), p: () => goToTrigger(view, -1),
  };
  byId("trace-chart").addEventListener("keydown", (event) => {
    if (event.ctrlKey || event.metaKey || event.altKey || !Object.hasOwn(actions, event.key)) return;
    event.preventDefault();
    actions[event.key]();
  });
}

function listenToButtons(view) {
  const buttons = {
    "trace-back": () => moveTraces(view, -0.5), "trace-on": () => moveTraces(view, 0.5),
    "trace-in": () => zoomTraces(view, 0.5), "trace-out": () => zoomTraces(view, 2),
    "trace-whole": () => setStretch(view, 0, view.samples),
    "trace-previous": () => goToTrigger(view, -1), "trace-next": () => goToTrigger(view, 1),
    "trace-larger": () => scaleTraces(view, 1 / 1.4), "trace-smaller": () => scaleTraces(view, 1.4),
    "trace-fit-before": () => fitLanes(view, "before"), "trace-fit-after": () => fitLanes(view, "after"),
  };
  for (const [id, action] of Object.entries(buttons)) byId(id).addEventListener("click", action);
  for (const [id, name] of [["show-before", "showBefore"], ["show-after", "showAfter"], ["show-windows", "showWindows"]]) {
    byId(id).addEventListener("change", (event) => {
      view[name] = event.target.checked;
      scheduleTraces(view);
    });
    view[name] = byId(id).checked; // browsers keep choices over a reload
  }
}

// Boxes for the channels, and shorthands.
function makeChannelChoice(view) {
  const { channelCount, channels } = view.data;
  const boxes = [];
  const choose = (chosen) => {
    boxes.forEach((box, channel) => { box.checked = chosen.includes(channel); });
    byId("channel-count").textContent = chosen.length + " of " + channelCount + " shown";
    return showTraceChannels(view, chosen);
  };
  const all = Array.from({ length: channelCount }, (_, channel) => channel);
  for (const channel of all) {
    const box = element("input", { type: "checkbox" });
    box.addEventListener("change", () => choose(all.filter((other) => boxes[other].checked)));
    boxes.push(box);
    byId("channel-boxes").append(element("label", {}, box, " " + (channel + 1)));
  }
  const largest = () => all.slice().sort((a, b) => (channels.rows[b].artifactBefore || 0) - (channels.rows[a].artifactBefore || 0))
    .slice(0, 8).sort((a, b) => a - b);
  byId("channels-all").addEventListener("click", () => choose(all));
  byId("channels-none").addEventListener("click", () => choose([]));
  byId("channels-first").addEventListener("click", () => choose(all.slice(0, 8)));
  byId("channels-largest").addEventListener("click", () => choose(largest()));
  return choose;
}

// The first look: some windows, and what was before them.
function firstStretch(view) {
  const windowLength = view.data.window[0] + view.data.window[1] + 1;
  const length = Math.min(view.samples, Math.max(2 * view.rate, Math.min(10 * view.rate, 20 * windowLength)));
  const first = view.triggers.length ? view.triggers[0] - view.data.window[0] : 0;
  view.from = Math.max(0, Math.min(view.samples - length, first - 0.2 * length));
  view.to = view.from + length;
}

function resolutionText(data) {
  const { samplesPerBin, stretches } = data.traces;
  if (samplesPerBin === 1) return "This page holds every sample of every channel.";
  const places = stretches.map(([first, last]) => timeText(first / data.rate, 1) + " to " + timeText((last + 1) / data.rate, 1));
  return "To stay small, this page holds the lowest and highest value of every " + samplesPerBin + " samples ("
    + sensible(1000 * samplesPerBin / data.rate) + " ms)"
    + (places.length ? ", and every sample of these stretches, marked green below: " + places.join(", ") + "." : ".");
}

async function startTraces(data) {
  const view = makeTraceView(data);
  const drawLanes = keepFitting(byId("trace-chart"), (width) => {
    view.chart = laneChart(view, width);
    listenToMouse(view, view.chart.over);
    return view.chart;
  });
  const drawWhole = keepFitting(byId("trace-overview"), (width) => {
    view.overview = overviewChart(view, width);
    listenToOverview(view, view.overview.over);
    return view.overview;
  });
  view.drawAgain = () => {
    drawLanes();
    drawWhole();
    tellPlace(view);
  };
  byId("trace-resolution").textContent = resolutionText(data);
  listenToButtons(view);
  listenToKeys(view);
  firstStretch(view);
  const choose = makeChannelChoice(view);
  await choose(Array.from({ length: Math.min(8, data.channelCount) }, (_, channel) => channel));
  fitLanes(view, "after");
  return view;
}
