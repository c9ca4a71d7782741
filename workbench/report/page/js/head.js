// Title, warnings and settings.

function showHead(data) {
  byId("title").textContent = data.title;
  const fact = Object.fromEntries(data.facts);
  byId("summary").textContent = fact.Recording + ". Condition " + fact.Condition + ". Window " + fact.Window + ".";
  for (const [name, value] of data.facts) {
    byId("facts").append(element("tr", {}, element("th", { scope: "row" }, name), element("td", {}, value)));
  }
}

function showWarnings(data) {
  const list = byId("warning-list");
  for (const text of data.warnings) list.append(element("p", { class: "panel warning" }, text));
  if (data.warnings.length === 0) {
    list.append(element("p", { class: "panel good" }, "Nothing to warn of was found in triggers, channels, spectra and results."));
  }
  if (data.spectralNote) {
    list.append(element("p", { class: "hint" }, "Not judged: " + data.spectralNote));
  }
}
