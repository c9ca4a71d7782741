// The average around the triggers with its spread, before and after the removal.

function spread(mean, deviation, sign) {
  return mean.map((value, i) => value === null || deviation[i] === null ? null : value + sign * deviation[i]);
}

async function averageSeries(data, channel) {
  const entry = data.average.channels[channel];
  const [before, beforeSpread, after, afterSpread] = await Promise.all(
    [entry.before, entry.beforeSpread, entry.after, entry.afterSpread].map(unpackNumbers));
  const x = before.map((_, i) => data.average.firstMs + i * data.average.stepMs);
  return { x, before, beforeSpread, after, afterSpread };
}

function averageOptions(width, names) {
  const series = [{ label: "Time (ms)", value: (u, v) => v === null ? NONE : v.toFixed(1) }];
  const bands = [];
  for (const name of names) {
    const label = name === "before" ? "Before" : "After";
    const at = series.length;
    const value = (u, v) => v === null ? NONE : sensible(v) + " \u00b5V";
    series.push({ label, stroke: colour(name), width: 1.75, value, points: { show: false } });
    series.push({ label: label + " + 1 SD", class: "spread", stroke: "transparent", width: 0, value, points: { show: false } });
    series.push({ label: label + " \u2212 1 SD", class: "spread", stroke: "transparent", width: 0, value, points: { show: false } });
    bands.push({ series: [at + 1, at + 2], fill: faintColour(name, 0.22) });
  }
  return {
    width, height: 320, series, bands,
    scales: { x: { time: false } },
    axes: [axis("Time from the trigger (ms)", { size: 32 }), axis("Amplitude (\u00b5V)", { size: 62 })],
    cursor: { drag: { x: true, y: false } },
    hooks: { draw: [(u) => verticalLine(u, 0, colour("mark"), [4, 4])] },
  };
}

function averageData(series, names) {
  const columns = [series.x];
  for (const name of names) {
    const mean = series[name], deviation = series[name + "Spread"];
    columns.push(mean, spread(mean, deviation, 1), spread(mean, deviation, -1));
  }
  return columns;
}

function makeAverages(data) {
  let series = null;
  const chart = (id, names) => keepFitting(byId(id), (width) => {
    return new uPlot(averageOptions(width, names), averageData(series, names), byId(id));
  });
  const drawBoth = chart("average-both", ["before", "after"]);
  const drawAfter = chart("average-after", ["after"]);
  const average = data.average;
  byId("average-note").textContent = "Mean and one standard deviation over " + average.windows
    + " windows, each about its own mean. The dashed line is the trigger. Drag over a chart to enlarge a part, double-click to see all of it again."
    + (average.samplesPerPoint > 1 ? " Each point is the mean of " + average.samplesPerPoint + " samples." : "");
  return async (channel) => {
    series = await averageSeries(data, channel);
    byId("average-channel").value = String(channel);
    drawBoth();
    drawAfter();
  };
}
