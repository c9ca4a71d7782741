// Everything in its place, in the order in which people look.

async function start() {
  const data = JSON.parse(byId("report-data").textContent);
  showHead(data);
  showWarnings(data);
  const drawAverages = makeAverages(data), drawSpectra = makeSpectra(data);
  fillChannels(byId("average-channel"), data);
  fillChannels(byId("spectrum-channel"), data, "median over all");
  const chooseAverage = async (channel) => {
    markChannel(channel);
    await drawAverages(channel);
  };
  showChannelTable(data, (channel) => {
    chooseAverage(channel);
    drawSpectra(channel);
  });
  showBandTable(data);
  byId("average-channel").addEventListener("change", (event) => chooseAverage(Number(event.target.value)));
  byId("spectrum-channel").addEventListener("change", (event) => drawSpectra(Number(event.target.value)));
  const rows = data.channels.rows;
  const largest = rows.reduce((best, row, i) => (row.artifactBefore || 0) > (rows[best].artifactBefore || 0) ? i : best, 0);
  await Promise.all([startTraces(data), chooseAverage(largest), drawSpectra(-1)]);
  watchPage();
  // Two frames later all charts are on the screen.
  requestAnimationFrame(() => requestAnimationFrame(() => {
    document.body.dataset.drawnMs = performance.now().toFixed(0);
  }));
}

start().catch((error) => {
  byId("failure").textContent = "This page could not be drawn: " + error.message;
  byId("failure").hidden = false;
  throw error;
});
