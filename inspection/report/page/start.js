// Puts the page together.

function headline() {
  if (comparing) {
    const { changes, before, after } = data.summary;
    const all = Object.values(changes).reduce((sum, count) => sum + count, 0);
    const words = Object.entries(changes).filter(([, count]) => count > 0)
      .map(([change, count]) => `${number(count)} ${changeWords[change]}`);
    const text = all === 0 ? "Nothing changed." : `${plural(all, "mail")} not the same: ${words.join(", ")}.`;
    return [`${plural(before, "mail")} before, ${number(after)} after. `, text, " ", ...unknownNote(data.summary.unknown_in_both)];
  }
  const read = entries.filter((mail) => mail.outcome !== "unreadable");
  const unchecked = read.filter((mail) => mail.checked === "no").length;
  const inPart = read.filter((mail) => mail.checked === "part").length;
  const unknown = read.filter((mail) => mail.checked === "unknown").length;
  const parts = [`${plural(entries.length, "mail")}. `];
  if (unchecked + inPart > 0) {
    const words = [unchecked > 0 && `${number(unchecked)} unchecked`, inPart > 0 && `${number(inPart)} checked in part`];
    parts.push(element("span", "warn", `${words.filter(Boolean).join(", ")}.`));
  } else if (unknown === 0 && read.length > 0) {
    parts.push(entries.length === 1 ? "It was checked." : `Each of the ${number(read.length)} that could be read was checked.`);
  }
  return [...parts, " ", ...unknownNote(unknown)];
}

function unknownNote(count) {
  if (count === 0) return [];
  const text = `Of ${plural(count, "mail")} it isn't known whether ${count === 1 ? "it was" : "they were"} checked.`;
  return [element("span", "warn", text)];
}

function mailCards() {
  const count = (key, value, mails) => mails.filter((mail) => mail[key] === value).length;
  const read = entries.filter((mail) => mail.outcome !== "unreadable");
  const outcomes = outcomeNames.map((name) => ({ label: outcomeWords[name], value: name, tone: name, count: count("outcome", name, entries) }));
  const levels = Object.keys(checkedWords).map((name) => ({ label: checkedWords[name], value: name, tone: name, count: count("checked", name, read) }));
  const reasons = tally(facts.flatMap((fact) => [...fact.reasons]))
    .map(([reason, times]) => ({ label: reason, value: reason, tone: "reason", count: times, of: entries.length, alone: true }));
  const rules = tally(facts.map((fact) => fact.rule).filter(Boolean))
    .map(([rule, times]) => ({ label: rule, value: rule, tone: "rule", count: times, of: entries.length, alone: true }));
  const cards = [breakdown("Outcome", plural(entries.length, "mail"), outcomes.filter((part) => part.count > 0 || part.value !== "unknown"), "outcome"),
    breakdown("Checked by the agent", plural(read.length, "mail"), levels, "checked"),
    breakdown("Why not checked", "by reason", reasons, "reasons"),
    breakdown("Blocked or tagged by", "by rule", rules, "rule")];
  const requests = entries.flatMap((mail) => mail.requests ?? []);
  const timed = requests.filter((request) => request.wait !== undefined);
  const all = distribution(timed.map((request) => request.wait));
  const stages = tally(timed.map((request) => request.stage ?? "request")).slice(0, 12).map(([stage]) =>
    [stage, distribution(timed.filter((request) => (request.stage ?? "request") === stage).map((request) => request.wait))]);
  const mails = distribution(entries.map((mail) => mail.ms).filter((ms) => ms !== undefined));
  const rows = [["each request", all], ...stages.map(([stage, pairs]) => [`· ${stage}`, pairs]), ["each mail in all", mails]];
  cards.push(waitsCard([{ pairs: all, tone: "" }], rows, requests.length - timed.length));
  return cards;
}

function comparisonCards() {
  const { changes, outcomes, other_cause: otherCause, repeated_before: twiceBefore, repeated_after: twiceAfter } = data.summary;
  const tones = { "verdict": "blocked", "checked": "part", "only before": "unknown", "only after": "tagged" };
  const parts = Object.entries(changes).map(([change, count]) => ({ label: changeWords[change], value: change, tone: tones[change], count }));
  const card = breakdown("Changes", plural(entries.length, "mail"), parts, "change");
  const notes = [];
  if (otherCause > 0) notes.push(`${plural(otherCause, "mail")} with the same verdict by another request or rule.`);
  if (twiceBefore + twiceAfter > 0) notes.push(`Names that occur again: ${number(twiceBefore)} before, ${number(twiceAfter)} after; paired in their order.`);
  for (const note of notes) card.append(element("p", "note", note));
  const { requests, mails } = data.waits;
  const rows = [["request, before", requests.before], ["request, after", requests.after], ["mail, before", mails.before], ["mail, after", mails.after]];
  const causes = tally(entries.map((entry) => entry.cause).filter(Boolean))
    .map(([cause, count]) => ({ label: cause, value: cause, tone: "rule", count, of: entries.length, alone: true }));
  return [matrixCard(outcomes), card, breakdown("Changed by", "request, rule or reason", causes, "why"),
    waitsCard([{ pairs: requests.before, tone: "before" }, { pairs: requests.after, tone: "" }], rows, 0)];
}

function start() {
  document.title = visible(data.title);
  byId("title").textContent = visible(data.title);
  byId("made").textContent = visible(data.made);
  byId("headline").append(...headline());
  byId("mails-title").textContent = comparing ? "Mails that changed" : "Mails";
  byId("cards").classList.toggle("comparing", comparing);
  byId("cards").append(...(comparing ? comparisonCards() : mailCards()));
  makeHead();
  byId("filter").addEventListener("input", applyFilters);
  byId("clear").addEventListener("click", () => {
    for (const { button } of filters.values()) button.setAttribute("aria-pressed", "false");
    filters.clear();
    byId("filter").value = "";
    applyFilters();
  });
  let waiting = false;
  byId("rows").addEventListener("scroll", () => {
    if (waiting) return;
    waiting = true;
    requestAnimationFrame(() => {
      waiting = false;
      showRows();
    });
  });
  byId("rows").addEventListener("keydown", listKey);
  document.addEventListener("keydown", (event) => {
    if (event.key === "/" && event.target !== byId("filter")) {
      event.preventDefault();
      byId("filter").focus();
    } else if (event.key === "Escape" && !byId("detail").hidden) {
      closeDetail();
      byId("rows").focus();
    } else if (event.key === "ArrowDown" && event.target === byId("filter")) {
      event.preventDefault();
      byId("rows").focus();
      choose(0);
    }
  });
  addEventListener("resize", () => {
    fitColumns();
    showRows();
  });
  addEventListener("beforeprint", layOutPaper);
  applyFilters();
}

start();
