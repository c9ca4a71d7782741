// What all charts share: colours of the page, axes with units, a width that follows the window.

function colour(name) {
  return getComputedStyle(document.documentElement).getPropertyValue("--" + name).trim();
}

// The same colour, see-through: #rrggbb to rgba().
function faintColour(name, alpha) {
  const hex = colour(name);
  const part = (at) => parseInt(hex.slice(at, at + 2), 16);
  return "rgba(" + part(1) + "," + part(3) + "," + part(5) + "," + alpha + ")";
}

function axis(label, more) {
  return { label, labelSize: 22, labelFont: "13px system-ui, sans-serif", font: "12px system-ui, sans-serif",
    stroke: colour("ink"), labelGap: 0, grid: { stroke: colour("grid"), width: 1 }, ticks: { stroke: colour("line"), width: 1 }, ...more };
}

// Charts are made again when their width, or the colours, change.
const redrawers = [];
function keepFitting(host, make) {
  let chart = null;
  const fit = () => {
    if (chart) chart.setSize({ width: host.clientWidth, height: chart.height });
  };
  const again = () => {
    if (chart) chart.destroy();
    chart = make(host.clientWidth);
    return chart;
  };
  redrawers.push({ fit, again });
  return again;
}

function watchPage() {
  let pending = 0;
  window.addEventListener("resize", () => {
    cancelAnimationFrame(pending);
    pending = requestAnimationFrame(() => redrawers.forEach(({ fit }) => fit()));
  });
  window.matchMedia("(prefers-color-scheme: dark)").addEventListener("change", () => redrawers.forEach(({ again }) => again()));
}

// A vertical line through a chart, in the chart's own pixels.
function verticalLine(u, x, stroke, dash, top = 0, height = 1) {
  const ctx = u.ctx, left = Math.round(u.valToPos(x, "x", true)) + 0.5;
  if (left < u.bbox.left || left > u.bbox.left + u.bbox.width) return;
  ctx.save();
  ctx.strokeStyle = stroke;
  ctx.lineWidth = devicePixelRatio;
  ctx.setLineDash(dash);
  ctx.beginPath();
  ctx.moveTo(left, u.bbox.top + top * u.bbox.height);
  ctx.lineTo(left, u.bbox.top + (top + height) * u.bbox.height);
  ctx.stroke();
  ctx.restore();
}

function fillChannels(select, data, first) {
  if (first) select.append(element("option", { value: "-1" }, first));
  for (let channel = 0; channel < data.channelCount; ++channel) {
    select.append(element("option", { value: channel }, String(channel + 1)));
  }
}
