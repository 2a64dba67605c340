// The cards above the list: totals, reasons, waits, and a comparison's matrix.

// A card with a bar in parts and a button a part, which filters the list.
function breakdown(title, note, parts, filterName) {
  const card = element("section", "card");
  card.append(element("h2", "", title, element("small", "", note)));
  const all = parts.reduce((sum, part) => sum + part.count, 0);
  if (parts.length === 0) {
    card.append(element("p", "empty", "None."));
    return card;
  }
  if (!parts.some((part) => part.alone)) {
    const stack = element("div", "stack");
    stack.setAttribute("aria-hidden", "true");
    for (const part of parts.filter((one) => one.count > 0)) {
      const piece = element("i", part.tone);
      piece.style.flex = `${part.count} 1 0`;
      stack.append(piece);
    }
    card.append(stack);
  }
  const buttons = element("div", "scroll");
  for (const part of parts) buttons.append(filterButton(part, part.of ?? all, filterName));
  card.append(buttons);
  return card;
}

function filterButton(part, all, filterName) {
  const button = element("button", "entry", null, element("span", `swatch ${part.tone}`),
    element("span", "label", visible(part.label)), element("span", "", number(part.count)),
    element("span", "share", share(part.count, all)));
  button.type = "button";
  button.disabled = part.count === 0;
  button.setAttribute("aria-pressed", "false");
  button.addEventListener("click", () => toggleFilter(filterName, part.value, button));
  return button;
}

// Times as [ms, count] pairs, ascending.
function distribution(times) {
  return tally(times).sort((one, other) => one[0] - other[0]);
}

function percentile(pairs, percent) {
  const all = pairs.reduce((sum, pair) => sum + pair[1], 0);
  const rank = Math.ceil((all * percent) / 100);
  let passed = 0;
  for (const [time, count] of pairs) {
    passed += count;
    if (passed >= rank) return time;
  }
  return undefined;
}

function svg(tag, attributes, text = null) {
  const made = document.createElementNS("http://www.w3.org/2000/svg", tag);
  for (const [name, value] of Object.entries(attributes)) made.setAttribute(name, value);
  if (text !== null) made.textContent = text;
  return made;
}

// About as wide as the chart is shown, so that its text has the size of other text.
const chartWidth = Math.max(300, Math.min(640, (window.innerWidth <= 900 ? 1 : 0.5) * window.innerWidth - 70));

// Bars over a logarithmic axis of time. Each series: {pairs, tone}. Marks: the last one's percentiles.
function histogram(series) {
  const width = chartWidth, base = 150, top = 22, bins = 64;
  const times = series.flatMap((one) => one.pairs.map((pair) => Math.max(pair[0], 0.1)));
  let low = Math.log10(Math.min(...minMax(times))), high = Math.log10(Math.max(...minMax(times)));
  low = Math.floor(low * 2) / 2;
  high = Math.max(Math.ceil(high * 2) / 2, low + 1);
  const x = (ms) => ((Math.log10(Math.max(ms, 0.1)) - low) / (high - low)) * width;
  const chart = svg("svg", { viewBox: `0 0 ${width} 172`, role: "img" });
  for (const one of series) {
    const columns = new Array(bins).fill(0);
    for (const [time, count] of one.pairs) columns[Math.min(bins - 1, Math.floor((x(time) / width) * bins))] += count;
    const most = Math.max(...columns, 1);
    columns.forEach((count, i) => {
      if (count === 0) return;
      const height = Math.max(1.5, (count / most) * (base - top));
      chart.append(svg("rect", { class: `column ${one.tone}`, x: (i * width) / bins + 0.5, y: base - height, width: width / bins - 1, height, rx: 1 }));
    });
  }
  chart.append(svg("line", { class: "axis", x1: 0, x2: width, y1: base + 0.5, y2: base + 0.5 }));
  for (let decade = Math.ceil(low); decade <= high; ++decade) axisLabel(chart, x(10 ** decade), width, 10 ** decade);
  const last = series[series.length - 1].pairs;
  marks(chart, x, width, base, [50, 95, 99].map((percent) => [percent, percentile(last, percent)]));
  chart.setAttribute("aria-label", `Distribution of waits; half of them took at most ${duration(percentile(last, 50))}`);
  return chart;
}

function minMax(numbers) {
  let low = Infinity, high = -Infinity;
  for (const one of numbers) {
    if (one < low) low = one;
    if (one > high) high = one;
  }
  return [low, high];
}

function axisLabel(chart, at, width, ms) {
  const anchor = at < 20 ? "start" : at > width - 20 ? "end" : "middle";
  const words = ms >= 1000 ? `${ms / 1000} s` : `${ms} ms`;
  chart.append(svg("text", { x: at, y: 166, "text-anchor": anchor }, words));
}

// Percentiles as dashed lines. A label is right of its line, except for the lowest one's and at the right
// edge. Labels that would cover each other share the place of the first.
function marks(chart, x, width, base, percentiles) {
  const labels = [];
  const isLeft = (label) => (label === labels[0] && label.at > 90) || label.at > width - 90;
  const end = (label) => label.at + (isLeft(label) ? -3 : 3 + 22 * (label.percents.length + 1));
  const begin = (label) => label.at + (isLeft(label) ? -3 - 22 * (label.percents.length + 1) : 3);
  for (const [percent, time] of percentiles) {
    if (time === undefined) continue;
    const at = x(time);
    chart.append(svg("line", { class: "mark", x1: at, x2: at, y1: 14, y2: base }));
    labels.push({ at, percents: [percent] });
    while (labels.length > 1 && begin(labels[labels.length - 1]) < end(labels[labels.length - 2])) {
      const covered = labels.pop();
      labels[labels.length - 1].percents.push(...covered.percents);
    }
  }
  for (const label of labels) {
    const at = label.at + (isLeft(label) ? -3 : 3);
    chart.append(svg("text", { class: "mark-text", x: at, y: 10, "text-anchor": isLeft(label) ? "end" : "start" }, `${label.percents.join(" / ")} %`));
  }
}

function figuresTable(title, rows) {
  const table = element("table", "figures");
  const head = element("tr");
  for (const word of [title, "count", "50 %", "95 %", "99 %", "longest"]) head.append(element("th", "", word));
  table.append(element("thead", "", null, head));
  const body = element("tbody");
  for (const [label, pairs] of rows) {
    const count = pairs.reduce((sum, pair) => sum + pair[1], 0);
    const row = element("tr", "", null, element("td", "", visible(label)), element("td", "", number(count)));
    for (const percent of [50, 95, 99, 100]) row.append(element("td", "", duration(percentile(pairs, percent))));
    body.append(row);
  }
  table.append(body);
  return table;
}

function waitsCard(series, rows, missing) {
  const card = element("section", "card full");
  const legend = series.length > 1
    ? element("small", "legend", null, element("span", "before", "before"), element("span", "", "after"))
    : element("small", "", "how long the add-in waited for each answer");
  card.append(element("h2", "", "Waits", legend));
  if (series.every((one) => one.pairs.length === 0)) {
    card.append(element("p", "empty", "No waits are recorded."));
  } else {
    card.append(element("div", "waits", null, histogram(series.filter((one) => one.pairs.length > 0)), element("div", "", null, figuresTable("", rows))));
  }
  if (missing > 0) card.append(element("p", "note", `${plural(missing, "request")} without a recorded wait ${missing === 1 ? "isn't" : "aren't"} counted here.`));
  return card;
}

// Outcomes before (rows) and after (columns).
function matrixCard(outcomes) {
  const card = element("section", "card wide");
  card.append(element("h2", "", "Outcomes before and after", element("small", "", "rows: before, columns: after")));
  const names = [...outcomeNames, "absent"].filter((name) =>
    Object.keys(outcomes[name] ?? {}).length > 0 || Object.values(outcomes).some((row) => row[name]));
  const table = element("table", "matrix");
  table.append(element("tr", "", null, element("th", "", "before ↓  after →"), ...names.map((name) => element("th", "", outcomeWords[name]))));
  for (const before of names) {
    const row = element("tr", "", null, element("th", "", outcomeWords[before]));
    for (const after of names) row.append(element("td", "", null, matrixCell(before, after, outcomes[before]?.[after] ?? 0)));
    table.append(row);
  }
  card.append(table);
  return card;
}

function matrixCell(before, after, count) {
  if (count === 0) return element("span", "", "·");
  if (before === after) return element("span", "same", number(count));
  const button = element("button", after, number(count));
  button.type = "button";
  button.setAttribute("aria-pressed", "false");
  button.setAttribute("aria-label", `${plural(count, "mail")}: ${outcomeWords[before]} before, ${outcomeWords[after]} after`);
  button.addEventListener("click", () => toggleFilter("cell", `${before} ${after}`, button));
  return button;
}
