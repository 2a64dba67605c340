"use strict";
// What the page was made from, and small helpers. Texts of mails reach the document only through
// textContent, never as markup.
const data = JSON.parse(document.getElementById("data").textContent);
const comparing = data.kind === "comparison";
const entries = data.entries;

const outcomeNames = ["sent", "blocked", "tagged", "unreadable", "unknown"];
const outcomeWords = {
  sent: "sent", blocked: "blocked", tagged: "tagged", unreadable: "unreadable", unknown: "unknown",
  absent: "not there",
};
const checkedWords = { yes: "checked", part: "checked in part", no: "unchecked", unknown: "unknown" };
const changeWords = {
  "verdict": "another verdict", "checked": "more or less checked", "only before": "only before",
  "only after": "only after",
};

const byId = (id) => document.getElementById(id);

// A new element: its class, its text, its children.
function element(tag, kind = "", text = null, ...children) {
  const made = document.createElement(tag);
  if (kind) made.className = kind;
  if (text !== null) made.textContent = text;
  made.append(...children);
  return made;
}

// Control characters and those that turn the direction of text become visible, so that a name
// can't pass for another.
function visible(text) {
  return String(text)
    .replace(/[\u0000-\u001f\u007f-\u009f\u061c\u200b-\u200f\u2028-\u202e\u2060-\u2069\ufeff]/g,
      (c) => `‹U+${c.charCodeAt(0).toString(16).toUpperCase().padStart(4, "0")}›`);
}

function duration(ms) {
  if (ms === undefined || ms === null) return "–";
  if (ms < 100) return `${ms.toFixed(1)} ms`;
  if (ms < 1000) return `${Math.round(ms)} ms`;
  if (ms < 60000) return `${(ms / 1000).toFixed(2)} s`;
  return `${Math.floor(ms / 60000)} min ${Math.round((ms % 60000) / 1000)} s`;
}

const number = (count) => count.toLocaleString("en-US");

function share(count, all) {
  if (all === 0) return "";
  const percent = (100 * count) / all;
  // What is not everything mustn't look like it, nor what is something like nothing.
  if (percent > 99.9 && count < all) return ">99.9 %";
  if (percent < 0.1 && count > 0) return "<0.1 %";
  return `${percent.toFixed(percent === 100 || percent === 0 ? 0 : 1)} %`;
}

const plural = (count, one) => `${number(count)} ${one}${count === 1 ? "" : "s"}`;

function answerWord(answer) {
  if (answer === undefined) return "no answer";
  return { 3: "block", 4: "go on", 7: "tag" }[answer] ?? `answer ${answer}`;
}

function answerTone(answer) {
  return answer === undefined ? "silent" : { 3: "blocked", 4: "go", 7: "tagged" }[answer] ?? "other";
}

// A name in one line: where there is too little space its middle goes, since names of a corpus differ
// at their ends.
function cutName(text) {
  const end = text.length > 24 ? text.length - 14 : text.length;
  return element("span", "name cut", null, element("span", "", text.slice(0, end)), element("span", "", text.slice(end)));
}

// A log knows no name for a mail.
const nameOf = (mail) => visible(mail.mail ?? mail.subject ?? "(no name)");

// The request that decided the mail, as in the command line's reports.
function decidedBy(mail) {
  let found = null;
  for (const request of mail.requests ?? []) {
    if (request.answer !== 3 && request.answer !== 7) continue;
    if (!["recipients", "sender", "envelope", undefined].includes(request.stage)) found = request;
  }
  return found;
}

// Why a mail went as it did, in one line.
function whyOf(mail) {
  if (mail.error) return mail.error;
  if (mail.reasons) return mail.reasons.join("; ");
  if (mail.outcome !== "blocked" && mail.outcome !== "tagged") return "";
  const request = decidedBy(mail);
  if (!request) return "";
  const rule = request.rule ? `rule “${request.rule}”` : answerWord(request.answer);
  return `${request.stage}: ${rule}`;
}

// How often each value comes, most frequent first. A Map: a value may have any name.
function tally(values) {
  const counts = new Map();
  for (const value of values) counts.set(value, (counts.get(value) ?? 0) + 1);
  return [...counts].sort((one, other) => other[1] - one[1]);
}
