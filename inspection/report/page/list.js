// The list of mails: filters, order, and rows that exist only while they are in sight.

const rowHeight = 34;
const sideOutcome = (side) => (side ? side.outcome : "absent");

// What the filters look at, made once for each entry.
const facts = entries.map((entry, index) => {
  const sides = comparing ? [entry.before, entry.after].filter(Boolean) : [entry];
  const words = [comparing ? entry.mail : entry.mail ?? "", entry.cause ?? "", entry.change ?? ""];
  for (const side of sides) {
    words.push(side.outcome, checkedWords[side.checked], side.subject ?? "", side.machine ?? "", side.sender ?? "", side.recipients ?? "", side.tag ?? "", side.error ?? "", ...(side.reasons ?? []));
    for (const request of side.requests ?? []) words.push(request.asked ?? "", request.rule ?? "", request.stage ?? "");
  }
  return {
    index, entry,
    text: words.join("\n").toLowerCase(),
    outcome: comparing ? null : entry.outcome,
    checked: comparing || entry.outcome === "unreadable" ? null : entry.checked,
    reasons: new Set(sides.flatMap((side) => side.reasons ?? [])),
    rule: comparing ? null : ruleOf(entry),
    change: entry.change ?? null,
    cell: comparing ? `${sideOutcome(entry.before)} ${sideOutcome(entry.after)}` : null,
    time: comparing ? entry.after?.ms ?? entry.before?.ms : entry.ms,
    name: comparing ? entry.mail : nameOf(entry),
    why: comparing ? entry.cause : whyOf(entry),
  };
});

function ruleOf(mail) {
  if (mail.outcome !== "blocked" && mail.outcome !== "tagged") return null;
  const request = decidedBy(mail);
  if (!request) return "not recorded";
  return request.rule ? `rule “${request.rule}”` : `${request.stage}: ${answerWord(request.answer)}`;
}

const filters = new Map();  // name -> {value, button}
let shown = facts;
let chosen = -1;  // in `shown`
let order = { by: null, down: false };

function toggleFilter(name, value, button) {
  const old = filters.get(name);
  if (old) old.button.setAttribute("aria-pressed", "false");
  if (old && old.value === value) {
    filters.delete(name);
  } else {
    filters.set(name, { value, button });
    button.setAttribute("aria-pressed", "true");
  }
  applyFilters();
}

function fits(fact, words) {
  for (const [name, { value }] of filters) {
    if (name === "reasons" ? !fact.reasons.has(value) : fact[name] !== value) return false;
  }
  return words.every((word) => fact.text.includes(word));
}

function applyFilters() {
  const kept = shown[chosen];
  const words = byId("filter").value.toLowerCase().split(/\s+/).filter(Boolean);
  shown = facts.filter((fact) => fits(fact, words));
  if (order.by) sortShown();
  chosen = kept ? shown.indexOf(kept) : -1;
  const narrowed = shown.length !== facts.length;
  byId("count").textContent = narrowed ? `${number(shown.length)} of ${plural(facts.length, "mail")}` : plural(facts.length, "mail");
  byId("clear").hidden = filters.size === 0 && words.length === 0;
  byId("none").hidden = shown.length > 0;
  byId("space").style.height = `${shown.length * rowHeight}px`;
  byId("rows").hidden = shown.length === 0;
  byId("rows").scrollTop = 0;
  if (chosen < 0) closeDetail();
  showRows();
}

function sortShown() {
  const key = order.by;
  const sign = order.down ? -1 : 1;
  const value = (fact) => (key === "time" ? fact.time ?? -1 : String(fact[key] ?? ""));
  shown = [...shown].sort((one, other) => {
    const a = value(one), b = value(other);
    return (a < b ? -1 : a > b ? 1 : 0) * sign || one.index - other.index;
  });
}

const columns = comparing
  ? [["cell", "verdict", 190], ["name", "mail", 0], ["why", "by which request, rule or reason", 0, "second"], ["time", "time", 84, "number"]]
  : [["outcome", "outcome", 108], ["checked", "checked", 128], ["name", "mail", 0], ["why", "why", 0, "second"], ["time", "time", 84, "number"]];

function makeHead() {
  for (const [key, label, , kind] of columns) {
    const button = element("button", kind ?? "", label);
    button.type = "button";
    button.addEventListener("click", () => {
      order = order.by === key ? { by: order.down ? null : key, down: !order.down } : { by: key, down: key === "time" };
      for (const other of byId("head").children) delete other.dataset.order;
      if (order.by) button.dataset.order = order.down ? "down" : "up";
      applyFilters();
    });
    byId("head").append(button);
  }
  fitColumns();
}

// The column for reasons gives way while a mail is open.
function fitColumns() {
  const narrow = byId("split").classList.contains("open") || window.innerWidth <= 900;
  const widths = columns.filter(([, , , kind]) => !(narrow && kind === "second"))
    .map(([, , width]) => (width ? `${width}px` : "minmax(0, 1fr)"));
  byId("list").style.setProperty("--columns", widths.join(" "));
}

const outcomeBadge = (name) => element("span", `badge ${name}`, outcomeWords[name] ?? name);
const checkedBadge = (name) => element("span", `badge level ${name}`, checkedWords[name] ?? name);

function verdictCell(entry) {
  const cell = element("span");
  if (entry.change === "checked") {
    cell.append(checkedBadge(entry.before.checked), " → ", checkedBadge(entry.after.checked));
  } else {
    cell.append(outcomeBadge(sideOutcome(entry.before)), " → ", outcomeBadge(sideOutcome(entry.after)));
  }
  return cell;
}

function cellsOf(fact) {
  const name = cutName(visible(fact.name));
  const why = element("span", "second faint name", visible(fact.why ?? ""));
  const time = element("span", "number", duration(fact.time));
  if (comparing) return [verdictCell(fact.entry), name, why, time];
  const checked = fact.checked ? checkedBadge(fact.checked) : element("span", "faint", "–");
  return [outcomeBadge(fact.outcome), checked, name, why, time];
}

function makeRow(at) {
  const row = element("div", "row", null, ...cellsOf(shown[at]));
  row.id = `row-${at}`;
  row.setAttribute("role", "option");
  row.setAttribute("aria-posinset", at + 1);
  row.setAttribute("aria-setsize", shown.length);
  row.setAttribute("aria-selected", at === chosen ? "true" : "false");
  row.style.top = `${at * rowHeight}px`;
  row.addEventListener("click", () => {
    choose(at);
    openDetail(shown[at]);
  });
  return row;
}

function showRows() {
  const rows = byId("rows");
  const first = Math.max(0, Math.floor(rows.scrollTop / rowHeight) - 8);
  const last = Math.min(shown.length, Math.ceil((rows.scrollTop + Math.max(rows.clientHeight, 200)) / rowHeight) + 8);
  const made = [byId("space")];
  for (let at = first; at < last; ++at) made.push(makeRow(at));
  rows.replaceChildren(...made);
  if (chosen >= first && chosen < last) {
    rows.setAttribute("aria-activedescendant", `row-${chosen}`);
  } else {
    rows.removeAttribute("aria-activedescendant");
  }
}

function choose(at) {
  if (shown.length === 0) return;
  chosen = Math.max(0, Math.min(shown.length - 1, at));
  const rows = byId("rows");
  const top = chosen * rowHeight;
  if (top < rows.scrollTop) rows.scrollTop = top;
  if (top + rowHeight > rows.scrollTop + rows.clientHeight) rows.scrollTop = top + rowHeight - rows.clientHeight;
  showRows();
  if (!byId("detail").hidden) openDetail(shown[chosen]);
}

function listKey(event) {
  const page = Math.max(1, Math.floor(byId("rows").clientHeight / rowHeight) - 1);
  const steps = { ArrowDown: 1, ArrowUp: -1, PageDown: page, PageUp: -page, Home: -Infinity, End: Infinity };
  if (event.key in steps) {
    choose(chosen < 0 && event.key !== "End" ? 0 : chosen + steps[event.key]);
  } else if (event.key === "Enter" && shown.length > 0) {
    // Opened, the mail follows the arrows in the list; Enter once more goes into it, to scroll.
    const open = !byId("detail").hidden;
    if (chosen < 0) choose(0);
    openDetail(shown[chosen]);
    if (open) byId("detail").focus();
  } else {
    return;
  }
  event.preventDefault();
}

// Paper has no scroll bar: it gets every mail that the filters leave, up to a limit.
const paperLimit = 2000;
function layOutPaper() {
  const table = byId("paper");
  const head = element("tr");
  for (const [, label] of columns) head.append(element("th", "", label));
  table.replaceChildren(element("thead", "", null, head));
  const body = element("tbody");
  for (const fact of shown.slice(0, paperLimit)) {
    body.append(element("tr", "", null, ...cellsOf(fact).map((cell) => element("td", "", null, cell))));
  }
  if (shown.length > paperLimit) {
    const rest = element("td", "", `… and ${plural(shown.length - paperLimit, "more mail")}, not printed`);
    rest.colSpan = columns.length;
    body.append(element("tr", "", null, rest));
  }
  table.append(body);
}
