// One mail: what became of it, and its requests as bars over time.

function openDetail(fact) {
  const detail = byId("detail");
  const close = element("button", "", "×");
  close.id = "close";
  close.type = "button";
  close.setAttribute("aria-label", "Close");
  close.addEventListener("click", () => {
    closeDetail();
    byId("rows").focus();
  });
  detail.replaceChildren(close, element("h3", "name", visible(fact.name)));
  if (comparing) {
    detail.append(...differenceParts(fact.entry));
  } else {
    detail.append(...mailParts(fact.entry, longest([fact.entry])));
  }
  detail.scrollTop = 0;
  if (!detail.hidden) return;
  detail.hidden = false;
  byId("split").classList.add("open");
  fitColumns();
  showRows();
}

function closeDetail() {
  if (byId("detail").hidden) return;
  byId("detail").hidden = true;
  byId("split").classList.remove("open");
  fitColumns();
  showRows();
}

function differenceParts(entry) {
  const cause = entry.cause ? [element("div", "why plain", visible(entry.cause))] : [];
  const scale = longest([entry.before, entry.after].filter(Boolean));
  const parts = [element("p", "facts faint", changeWords[entry.change] ?? entry.change), ...cause];
  for (const [title, side] of [["Before", entry.before], ["After", entry.after]]) {
    parts.push(element("h4", "", title));
    if (side) {
      parts.push(...mailParts(side, scale));
    } else {
      parts.push(element("p", "empty", "This run doesn't have the mail."));
    }
  }
  return parts;
}

function mailParts(mail, scale) {
  const parts = [factLine(mail)];
  if (mail.error) parts.push(element("div", "why unreadable", visible(mail.error)));
  if (mail.reasons) {
    const list = element("ul");
    for (const reason of mail.reasons) list.append(element("li", "", visible(reason)));
    parts.push(element("div", `why ${mail.checked}`, null, list));
  }
  if (mail.outcome === "unreadable") return parts;
  if ((mail.requests ?? []).length === 0) {
    parts.push(element("p", "note", "No request is recorded for this mail."));
  } else {
    parts.push(waterfall(mail, scale));
  }
  return parts;
}

function factLine(mail) {
  const line = element("p", "facts", null, outcomeBadge(mail.outcome));
  if (mail.outcome !== "unreadable") line.append(checkedBadge(mail.checked));
  if (mail.ms !== undefined) line.append(element("span", "", `${duration(mail.ms)} in all`));
  for (const [label, text] of [["tag", mail.tag], ["subject", mail.mail ? mail.subject : undefined], ["from", mail.sender], ["to", mail.recipients], ["machine", mail.machine], ["", mail.when]]) {
    if (text) line.append(element("span", "faint name", `${label ? `${label} ` : ""}${visible(text)}`));
  }
  return line;
}

const waited = (mail) => (mail.requests ?? []).reduce((sum, request) => sum + (request.wait ?? 0), 0);
const longest = (mails) => Math.max(1, ...mails.map((mail) => Math.max(mail.ms ?? 0, waited(mail))));

// The add-in asks one thing after the other, so a request begins where the one before it ended.
function waterfall(mail, scale) {
  const falls = element("div", "falls");
  const ticks = element("div", "track");
  for (const part of [0, 0.5, 1]) {
    const tick = element("span", "", part === 0 ? "0" : duration(scale * part).replace(/\.\d ms/, " ms"));
    tick.style.left = `${part * 100}%`;
    ticks.append(tick);
  }
  falls.append(element("div", "scale", null, element("span", "", "asked"), element("span", "", "answer"), ticks, element("span", "wait", "waited")));
  let begin = 0;
  for (const request of mail.requests) {
    falls.append(fall(request, begin, scale));
    begin += request.wait ?? 0;
  }
  if (mail.more) falls.append(element("p", "note", `… and ${plural(mail.more, "more request")}`));
  const rest = (mail.ms ?? 0) - begin;
  const allKnown = !mail.more && mail.requests.every((request) => request.wait !== undefined);
  if (allKnown && rest >= 0.1) falls.append(restLine(begin, rest, scale));
  return falls;
}

function bar(begin, length, scale, tone) {
  const fill = element("div", `fill ${tone}`);
  fill.style.left = `${(100 * begin) / scale}%`;
  fill.style.width = `${(100 * length) / scale}%`;
  return element("div", "track", null, fill);
}

function fall(request, begin, scale) {
  const what = element("div", "what", null, element("span", "", visible(request.stage ?? "request")));
  if (request.asked) {
    const asked = element("small", "", visible(request.asked));
    asked.title = visible(request.asked);
    what.append(asked);
  }
  const answer = element("div", "answer", null, element("span", `badge ${answerTone(request.answer)}`, answerWord(request.answer)));
  const about = [request.rule && `rule “${request.rule}”`, request.end && request.end !== "answered" && request.end].filter(Boolean);
  if (about.length > 0) what.append(element("small", "", visible(about.join(", "))));
  const known = request.wait !== undefined;
  const track = known ? bar(begin, request.wait, scale, answerTone(request.answer)) : element("div", "track");
  return element("div", "", null, what, answer, track, element("div", "wait", known ? duration(request.wait) : "unknown"));
}

// Time that no wait explains. The lines don't say when it passed; it is drawn at the end.
function restLine(begin, rest, scale) {
  return element("div", "", null, element("div", "what faint", "outside the waits"), element("div"),
    bar(begin, rest, scale, "rest"), element("div", "wait faint", duration(rest)));
}
