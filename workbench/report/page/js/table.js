// The table of channels, which can be sorted by every column, and the table of bands.

function channelColumns(data) {
  const at = (key) => (row) => row[key];
  const columns = [
    { over: "", head: "Channel", unit: "", value: at("channel"), text: String },
    { over: "Artifact RMS", head: "before", unit: "\u00b5V", value: at("artifactBefore"), text: sensible },
    { over: "Artifact RMS", head: "after", unit: "\u00b5V", value: at("artifactAfter"), text: sensible },
    { over: "Artifact RMS", head: "removed", unit: "dB", value: at("removed"), text: fixed(1) },
    { over: "RMS in the windows", head: "before", unit: "\u00b5V", value: at("rmsBefore"), text: sensible },
    { over: "RMS in the windows", head: "after", unit: "\u00b5V", value: at("rmsAfter"), text: sensible },
    { over: "Outside", head: "kept", unit: "%", value: at("kept"), text: percent },
  ];
  data.bands.forEach((band, i) => columns.push({
    over: "Change of power", head: band.name, unit: "dB", value: (row) => row.bands ? row.bands[i] : band.change, text: signed }));
  if (data.hasTruth) {
    columns.push(
      { over: "Error against the truth", head: "before", unit: "\u00b5V", value: at("errorBefore"), text: sensible },
      { over: "Error against the truth", head: "after", unit: "\u00b5V", value: at("errorAfter"), text: sensible },
      { over: "Error against the truth", head: "removed", unit: "dB", value: at("errorRemoved"), text: fixed(1) },
      { over: "Error against the truth", head: "correlation", unit: "after", value: at("correlation"), text: fixed(3) });
  }
  return columns;
}

const COLUMN_NOTES = [
  ["Artifact RMS", "Root mean square of the average around the triggers: what recurs with them, the EEG averaged out."],
  ["RMS in the windows", "Root mean square about each window's own mean, EEG included."],
  ["Outside, kept", "Share of the variance outside the windows that the removal left as it was: 100 when it touched nothing there."],
  ["Change of power", "Power in the EEG bands after the removal against before it, over the whole recording. The artifact's own power counts: a band full of artifact falls far."],
];
const TRUTH_NOTE = ["Error against the truth", "In the windows: root mean square of the difference from the recording without artifact, how many dB of it were removed, and the correlation with the truth after the removal."];

function headingRows(columns) {
  const over = element("tr"), heads = element("tr");
  for (let i = 0; i < columns.length;) {
    let end = i;
    while (end < columns.length && columns[end].over === columns[i].over) ++end;
    over.append(element("th", { colspan: end - i, class: columns[i].over ? "over" : "" }, columns[i].over));
    i = end;
  }
  columns.forEach((column) => {
    const button = element("button", { type: "button" }, column.head);
    heads.append(element("th", { scope: "col" }, button, element("span", { class: "unit" }, column.unit)));
  });
  return { over, heads };
}

function rowOf(columns, row) {
  return element("tr", {}, ...columns.map((column) => element("td", {}, column.text(column.value(row)))));
}

// Values that are missing come last in either order.
function compareValues(a, b, descending) {
  const missingA = a === null || a === undefined, missingB = b === null || b === undefined;
  if (missingA || missingB) return missingA - missingB;
  return descending ? b - a : a - b;
}

function showChannelTable(data, choose) {
  const columns = channelColumns(data);
  const table = byId("channel-table");
  const { over, heads } = headingRows(columns);
  const body = element("tbody");
  const all = rowOf(columns, data.channels.all);
  all.firstChild.textContent = "all";
  table.append(element("thead", {}, over, heads), body, element("tfoot", {}, all));
  table.style.setProperty("--first-heading-row", over.offsetHeight + "px");

  const rows = data.channels.rows.map((row) => ({ row, shown: rowOf(columns, row) }));
  for (const { row, shown } of rows) {
    shown.dataset.channel = row.channel;
    shown.addEventListener("click", () => choose(row.channel - 1));
  }
  let sorted = 0, descending = false;
  const sort = () => {
    rows.sort((a, b) => compareValues(columns[sorted].value(a.row), columns[sorted].value(b.row), descending));
    body.replaceChildren(...rows.map(({ shown }) => shown));
    [...heads.children].forEach((head, i) => {
      if (i === sorted) head.setAttribute("aria-sort", descending ? "descending" : "ascending");
      else head.removeAttribute("aria-sort");
    });
  };
  [...heads.children].forEach((head, i) => head.addEventListener("click", () => {
    descending = i === sorted ? !descending : i !== 0; // the largest values first, but channel 1 first
    sorted = i;
    sort();
  }));
  sort();
  for (const [name, text] of data.hasTruth ? [...COLUMN_NOTES, TRUTH_NOTE] : COLUMN_NOTES) {
    byId("column-notes").append(element("dt", {}, name), element("dd", {}, text));
  }
}

function markChannel(channel) {
  for (const row of document.querySelectorAll("#channel-table tbody tr")) {
    row.classList.toggle("chosen", Number(row.dataset.channel) === channel + 1);
  }
}

function showBandTable(data) {
  const judged = data.bands.some((band) => band.between !== null);
  const quiet = data.bands.some((band) => band.quiet !== null);
  const heads = ["Band", "Change of power (dB)"];
  if (judged) heads.push("Between the harmonics (dB)");
  if (quiet) heads.push("There, against stretches without artifact (dB)");
  if (data.hasTruth) heads.push("After against the truth (dB)");
  const body = element("tbody");
  for (const band of data.bands) {
    const cells = [band.name + ", " + band.from + " to " + band.to + " Hz", signed(band.change)];
    if (judged) cells.push(signed(band.between));
    if (quiet) cells.push(signed(band.quiet));
    if (data.hasTruth) cells.push(signed(band.truth));
    body.append(element("tr", {}, ...cells.map((cell) => element("td", {}, cell))));
  }
  byId("band-table").append(element("thead", {}, element("tr", {}, ...heads.map((head) => element("th", { scope: "col" }, head)))), body);
  byId("band-note").textContent = "Medians over the channels."
    + (judged ? " Between the harmonics (near neither a harmonic nor the middle between two) the artifact has little power; there the logarithms of the power are averaged over the segments in which the artifact goes on throughout. A fall of 3 dB or more is told as a loss of EEG" + (quiet ? ", unless the stretches without artifact have no more power there." : ".") : "")
    + (data.hasTruth ? " A fall of 1 dB or more below the truth is told as a loss of EEG." : "")
    + (judged ? " A harmonic up to 120 Hz that stands 6 dB or more out of the 2 Hz on either side after the removal is told as a rest of the artifact; those within 1 Hz of a multiple of 50 or 60 Hz are left out, as they may be the mains'." : "");
}
