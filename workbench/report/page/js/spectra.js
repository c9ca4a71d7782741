// Power spectra with the EEG bands and the artifact's harmonics.

async function spectrumSeries(data, channel) {
  const entry = channel < 0 ? data.spectrum.median : data.spectrum.channels[channel];
  const names = data.hasTruth ? ["before", "after", "truth"] : ["before", "after"];
  const decibels = await Promise.all(names.map((name) => unpackNumbers(entry[name])));
  const powers = decibels.map((series) => series.map((db) => db === null || db <= -190 ? null : Math.pow(10, db / 10)));
  return [powers[0].map((_, i) => data.spectrum.firstHz + i * data.spectrum.stepHz), ...powers];
}

function drawBands(u, data) {
  const ctx = u.ctx, { left, top, width, height } = u.bbox;
  ctx.save();
  ctx.beginPath();
  ctx.rect(left, top, width, height);
  ctx.clip();
  data.bands.forEach((band, i) => {
    const from = u.valToPos(band.from, "x", true), to = u.valToPos(band.to, "x", true);
    ctx.fillStyle = i % 2 === 0 ? colour("panel") : colour("paper");
    ctx.fillRect(from, top, to - from, height);
  });
  ctx.restore();
}

// After the grid, which would strike them through.
function nameBands(u, data) {
  const ctx = u.ctx, { left, top, width } = u.bbox;
  ctx.save();
  ctx.font = 12 * devicePixelRatio + "px system-ui, sans-serif";
  ctx.textAlign = "center";
  ctx.textBaseline = "middle";
  data.bands.forEach((band, i) => {
    const from = Math.max(left, u.valToPos(band.from, "x", true)), to = Math.min(left + width, u.valToPos(band.to, "x", true));
    const room = ctx.measureText(band.name).width + 6 * devicePixelRatio;
    if (to - from < room) return;
    const x = (from + to) / 2, y = top + 13 * devicePixelRatio;
    ctx.fillStyle = i % 2 === 0 ? colour("panel") : colour("paper");
    ctx.fillRect(x - room / 2, y - 8 * devicePixelRatio, room, 16 * devicePixelRatio);
    ctx.fillStyle = colour("faint");
    ctx.fillText(band.name, x, y);
  });
  ctx.restore();
}

// Ticks at powers of ten only, as 10 to the power of something where the number would be long.
function powerText(value) {
  if (value === null) return "";
  const exponent = Math.round(Math.log10(value));
  if (Math.abs(Math.log10(value) - exponent) > 1e-6) return "";
  if (exponent >= -2 && exponent <= 4) return value >= 1 ? value.toLocaleString("en") : value.toFixed(-exponent);
  const raised = "\u2070\u00b9\u00b2\u00b3\u2074\u2075\u2076\u2077\u2078\u2079";
  return "10" + (exponent < 0 ? "\u207b" : "") + [...String(Math.abs(exponent))].map((digit) => raised[digit]).join("");
}

// From the highest power down to the lowest, but no farther than ten powers of ten.
function powerRange(u, low, high) {
  if (!(high > 0)) return [0.1, 10];
  const bottom = Math.max(low, high * 1e-10);
  return [Math.pow(10, Math.floor(Math.log10(bottom))), Math.pow(10, Math.ceil(Math.log10(high) + 0.2))];
}

// Dashed lines through the chart, or ticks at its lower edge where they would stand too close.
function drawHarmonics(u, spacing) {
  if (!(spacing > 0)) return;
  const { min, max } = u.scales.x;
  const pixelsApart = u.bbox.width * spacing / (max - min) / devicePixelRatio;
  if (pixelsApart < 3) return;
  const tick = pixelsApart < 14;
  for (let k = Math.max(1, Math.ceil(min / spacing)); k * spacing <= max; ++k) {
    verticalLine(u, k * spacing, colour("mark"), tick ? [] : [2, 5], tick ? 0.97 : 0.06, tick ? 0.03 : 0.94);
  }
}

function spectrumOptions(width, data, range) {
  const value = (u, v) => v === null || v === undefined ? NONE : sensible(v) + " \u00b5V\u00b2/Hz";
  const line = (label, name, more) => ({ label, stroke: colour(name), width: 1.5, value, points: { show: false }, ...more });
  const series = [{ label: "Frequency", value: (u, v) => v === null ? NONE : v.toFixed(2) + " Hz" },
    line("Before", "before"), line("After", "after")];
  if (data.hasTruth) series.push(line("Without artifact", "truth", { dash: [6, 4] }));
  return {
    width, height: 380, series,
    scales: { x: { time: false, min: range[0], max: range[1] }, y: { distr: 3, range: powerRange } },
    axes: [axis("Frequency (Hz)", { size: 32 }), axis("Power density (\u00b5V\u00b2/Hz)", { size: 66, values: (u, splits) => splits.map(powerText) })],
    cursor: { drag: { x: true, y: false } },
    hooks: { drawClear: [(u) => drawBands(u, data)], draw: [(u) => drawHarmonics(u, data.spectrum.harmonicHz), (u) => nameBands(u, data)] },
  };
}

function makeSpectra(data) {
  const host = byId("spectrum-chart");
  const spectrum = data.spectrum;
  let series = null, chart = null, range = null;
  const draw = keepFitting(host, (width) => {
    chart = new uPlot(spectrumOptions(width, data, range), series, host);
    return chart;
  });
  byId("spectrum-note").textContent = "Welch's estimate over the whole recording: Hann windows of " + spectrum.segment + " samples ("
    + sensible(spectrum.segment / data.rate) + " s) that overlap by half, " + spectrum.segments + " of them, "
    + sensible(spectrum.binHz) + " Hz per bin"
    + (spectrum.stepHz > 1.5 * spectrum.binHz ? ", drawn in steps of " + sensible(spectrum.stepHz) + " Hz" : "") + "."
    + (spectrum.harmonicHz > 0 ? " The artifact recurs at " + spectrum.harmonicHz.toFixed(2) + " Hz; its harmonics are marked." : " The triggers are too uneven for harmonics.")
    + " Drag over the chart to enlarge a part, double-click to see all of it again.";
  const end = () => series[0][series[0].length - 1];
  const show = (to) => {
    range = [0, Math.min(to, end())];
    chart.setScale("x", { min: range[0], max: range[1] });
  };
  byId("spectrum-eeg").addEventListener("click", () => show(45));
  byId("spectrum-all").addEventListener("click", () => show(Infinity));
  return async (channel) => {
    series = await spectrumSeries(data, channel);
    range = range || [0, Math.min(end(), 100)];
    byId("spectrum-channel").value = String(channel);
    draw();
  };
}
