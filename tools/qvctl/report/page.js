"use strict";
// Everything from the log is put on the page as text nodes: nothing of it is ever parsed as markup.
(() => {
  const $ = (id) => document.getElementById(id);
  const log = JSON.parse($("data").textContent);
  $("data").remove();
  const NAMES = ["error", "warning", "information", "success", "audit-success", "audit-failure"];
  const RANK = new Map(["error", "audit-failure", "warning", "audit-success", "information", "success"].map((n, i) => [n, i]));
  const ROWS_BEYOND_VIEW = 8;
  const number = new Intl.NumberFormat("en");
  const plural = (count, what) => `${number.format(count)} ${what}${count === 1 ? "" : "s"}`;
  const make = (name, className, text) => {
    const element = document.createElement(name);
    if (className) element.className = className;
    if (text !== undefined) element.textContent = text;
    return element;
  };
  const classOf = (type) => "t-" + (NAMES.includes(type) ? type : "other");
  const dot = () => {
    const mark = make("span", "dot");
    mark.setAttribute("aria-hidden", "true");
    return mark;
  };

  // Times are the log's local times; they are counted as if they were universal ones, so that the browser's own time
  // zone plays no part.
  const toTime = (text) => {
    const match = /^(\d+)-(\d\d)-(\d\d)[T ](\d\d):(\d\d)(?::(\d\d))?/.exec(text);
    return match ? Date.UTC(+match[1], match[2] - 1, +match[3], +match[4], +match[5], +(match[6] || 0)) : NaN;
  };
  const toText = (time) => new Date(time).toISOString().slice(0, 19);
  const shown = (text) => text.replace("T", " ");

  const events = log.events.map((e, index) => ({
    index,
    iso: e[0],
    time: toTime(e[0]),
    type: log.types[e[1]],
    id: e[2],
    source: log.sources[e[3]],
    computer: log.computers[e[4]],
    user: log.users[e[5]],
    text: e[6],
    data: e[7] || "",
  }));
  log.events = null;
  let haystacks = null;
  const haystackOf = (event) => {
    haystacks ??= events.map((e) => `${e.text}\n${e.source}\n${e.computer}\n${e.user}`.toLowerCase());
    return haystacks[event.index];
  };
  const dated = events.filter((e) => !Number.isNaN(e.time));
  let first = Infinity;
  let last = -Infinity;
  for (const event of dated) {
    first = Math.min(first, event.time);
    last = Math.max(last, event.time);
  }
  const types = [...new Set(events.map((e) => e.type))].sort((a, b) => (RANK.get(a) ?? 9) - (RANK.get(b) ?? 9) || (a < b ? -1 : 1));

  const places = new Map(types.map((type, i) => [type, i]));

  const state = { words: "", types: new Set(), source: "", ids: "", from: NaN, to: NaN, sort: "time", down: false, chosen: -1 };
  let passing = events; // all filters
  let inChart = events; // all but the span

  // Text -----------------------------------------------------------------------------------------------------------

  // What is no visible character, or changes the direction of those after it.
  const CONTROLS = /[\u0000-\u001f\u007f-\u009f\u00ad\u061c\u200b-\u200f\u2028-\u202e\u2060-\u2069\ufeff]/g;
  const LINE = { "\n": "\u23ce", "\r": "", "\t": "\u21e5" };
  const addMarked = (parent, text, words) => {
    let rest = text;
    const lower = rest.toLowerCase();
    if (words.length === 0 || lower.length !== rest.length) {
      parent.append(rest);
      return;
    }
    let at = 0;
    while (at < rest.length) {
      let begin = -1;
      let size = 0;
      for (const word of words) {
        const found = lower.indexOf(word, at);
        if (found >= 0 && (begin < 0 || found < begin || (found === begin && word.length > size))) {
          begin = found;
          size = word.length;
        }
      }
      if (begin < 0) break;
      if (begin > at) parent.append(rest.slice(at, begin));
      parent.append(make("mark", "", rest.slice(begin, begin + size)));
      at = begin + size;
    }
    parent.append(rest.slice(at));
  };
  const addText = (parent, text, words, lines) => {
    let at = 0;
    for (const match of text.matchAll(CONTROLS)) {
      if (lines && (match[0] === "\n" || match[0] === "\t" || (match[0] === "\r" && text[match.index + 1] === "\n"))) continue;
      addMarked(parent, text.slice(at, match.index), words);
      const control = make("span", "control", match[0]);
      const name = LINE[match[0]] ?? "U+" + match[0].charCodeAt(0).toString(16).toUpperCase().padStart(4, "0");
      if (name) control.dataset.name = name;
      parent.append(control);
      at = match.index + match[0].length;
    }
    addMarked(parent, text.slice(at), words);
    return parent;
  };
  const bytesOf = (hex) => hex.match(/../g)?.map((pair) => parseInt(pair, 16)) ?? [];
  const dumpOf = (hex) => {
    const bytes = bytesOf(hex);
    const lines = [];
    for (let at = 0; at < bytes.length; at += 16) {
      const part = bytes.slice(at, at + 16);
      const digits = part.map((byte, i) => (i === 8 ? " " : "") + byte.toString(16).padStart(2, "0")).join(" ");
      const text = part.map((byte) => (byte >= 32 && byte < 127 ? String.fromCharCode(byte) : ".")).join("");
      lines.push(`${at.toString(16).padStart(8, "0")}  ${digits.padEnd(49)} |${text}|`);
    }
    return lines.join("\n");
  };
  const lineOf = (e) => `${shown(e.iso)}\t${e.type}\t${e.id}\t${e.source}\t${e.text}`;
  const asText = (e) =>
    [`Time: ${shown(e.iso)}`, `Type: ${e.type}`, `ID: ${e.id}`, `Source: ${e.source}`, `Computer: ${e.computer}`]
      .concat(e.user ? [`User: ${e.user}`] : [], "Description:", e.text, e.data ? ["Data:", dumpOf(e.data)] : [])
      .join("\n") + "\n";

  let toastTimer = 0;
  const tell = (text) => {
    $("toast").textContent = text;
    $("toast").classList.add("shown");
    clearTimeout(toastTimer);
    toastTimer = setTimeout(() => $("toast").classList.remove("shown"), 2200);
  };
  const copy = async (text, what) => {
    try {
      await navigator.clipboard.writeText(text);
    } catch {
      const area = make("textarea");
      area.value = text;
      document.body.append(area);
      area.select();
      document.execCommand("copy");
      area.remove();
    }
    tell(`Copied ${what}`);
  };

  // Filters --------------------------------------------------------------------------------------------------------

  const wordsOf = () => state.words.toLowerCase().split(/\s+/).filter(Boolean);
  // "2003, 10-19"; null where that cannot be read.
  const rangesOf = (text) => {
    const ranges = [];
    for (const part of text.split(/[\s,;]+/).filter(Boolean)) {
      const match = /^(\d+)(?:-(\d+))?$/.exec(part);
      if (!match) return null;
      ranges.push([+match[1], +(match[2] ?? match[1])]);
    }
    return ranges;
  };
  const COMPARE = {
    time: (a, b) => (a.time || 0) - (b.time || 0),
    type: (a, b) => places.get(a.type) - places.get(b.type),
    id: (a, b) => a.id - b.id,
    source: (a, b) => (a.source < b.source ? -1 : a.source > b.source ? 1 : 0),
  };
  const apply = () => {
    const words = wordsOf();
    const ranges = rangesOf(state.ids);
    $("ids").setCustomValidity(ranges ? "" : "IDs and ranges of IDs, such as 2003, 10-19");
    inChart = events.filter(
      (e) =>
        (state.types.size === 0 || state.types.has(e.type)) &&
        (state.source === "" || e.source === state.source) &&
        (!ranges || ranges.length === 0 || ranges.some(([a, b]) => e.id >= a && e.id <= b)) &&
        (words.length === 0 || words.every((word) => haystackOf(e).includes(word))),
    );
    const isOpen = Number.isNaN(state.from) && Number.isNaN(state.to);
    passing = isOpen
      ? inChart.slice()
      : inChart.filter((e) => !(e.time < state.from) && !(e.time > state.to) && !Number.isNaN(e.time));
    const compare = COMPARE[state.sort];
    const sign = state.down ? -1 : 1;
    passing.sort((a, b) => sign * (compare(a, b) || a.index - b.index));
    $("count").textContent =
      passing.length === events.length ? plural(events.length, "event") : `${number.format(passing.length)} of ${plural(events.length, "event")}`;
    $("grid").setAttribute("aria-rowcount", String(passing.length + 1));
    for (const head of document.querySelectorAll("#head [data-column]")) {
      if (head.dataset.column === state.sort) {
        head.setAttribute("aria-sort", state.down ? "descending" : "ascending");
      } else {
        head.removeAttribute("aria-sort");
      }
    }
    drawRows(true);
    drawChart();
    saveState();
  };
  // While the page is busy with one letter the next one may come: it is enough to do the last.
  let waiting = 0;
  const applySoon = () => {
    cancelAnimationFrame(waiting);
    waiting = requestAnimationFrame(apply);
  };

  // The view is in the address, so that it can be kept and passed on.
  const saveState = () => {
    const parameters = new URLSearchParams();
    if (state.words) parameters.set("words", state.words);
    for (const type of state.types) parameters.append("type", type);
    if (state.source) parameters.set("source", state.source);
    if (state.ids) parameters.set("id", state.ids);
    if (!Number.isNaN(state.from)) parameters.set("from", toText(state.from));
    if (!Number.isNaN(state.to)) parameters.set("to", toText(state.to));
    if (state.sort !== "time" || state.down) parameters.set("sort", (state.down ? "-" : "") + state.sort);
    if (state.chosen >= 0) parameters.set("event", String(state.chosen));
    try {
      history.replaceState(null, "", "#" + parameters);
    } catch {
      // a frame without an address of its own
    }
  };
  const loadState = () => {
    const parameters = new URLSearchParams(location.hash.slice(1));
    state.words = parameters.get("words") ?? "";
    state.types = new Set(parameters.getAll("type").filter((type) => types.includes(type)));
    state.source = log.sources.includes(parameters.get("source")) ? parameters.get("source") : "";
    state.ids = parameters.get("id") ?? "";
    state.from = toTime(parameters.get("from") ?? "");
    state.to = toTime(parameters.get("to") ?? "");
    const sort = parameters.get("sort") ?? "time";
    state.down = sort.startsWith("-");
    state.sort = sort.replace("-", "") in COMPARE ? sort.replace("-", "") : "time";
    const chosen = Number.parseInt(parameters.get("event") ?? "", 10);
    state.chosen = chosen >= 0 && chosen < events.length ? chosen : -1;
    showState();
  };
  const showState = () => {
    $("words").value = state.words;
    $("source").value = state.source;
    $("ids").value = state.ids;
    $("from").value = Number.isNaN(state.from) ? "" : toText(state.from);
    $("to").value = Number.isNaN(state.to) ? "" : toText(state.to);
    for (const button of $("types").children) {
      button.setAttribute("aria-pressed", String(state.types.has(button.dataset.type)));
    }
  };
  const setSpan = (from, to) => {
    state.from = from;
    state.to = to;
    showState();
    apply();
  };

  // Rows -----------------------------------------------------------------------------------------------------------

  const rows = new Map(); // by place in what passes
  let rowHeight = 34;
  const makeRow = (place, words) => {
    const event = passing[place];
    const row = make("div", "row");
    row.id = "row-" + place;
    row.setAttribute("role", "row");
    row.setAttribute("aria-rowindex", String(place + 2));
    row.setAttribute("aria-selected", String(event.index === state.chosen));
    row.dataset.place = String(place);
    row.style.transform = `translateY(${place * rowHeight}px)`;
    const cell = (name) => {
      const element = make("div", name);
      element.setAttribute("role", "gridcell");
      row.append(element);
      return element;
    };
    cell("time").textContent = shown(event.iso) || "unknown";
    const type = cell("type " + classOf(event.type));
    type.append(dot(), make("span", "", event.type));
    cell("id").textContent = String(event.id);
    addText(cell("source"), event.source, words, false);
    // As much as a line can show, so that long texts cost no more than short ones.
    addText(cell("text"), event.text.length > 600 ? event.text.slice(0, 600) + "\u2026" : event.text, words, false);
    return row;
  };
  const drawRows = (anew) => {
    const scroller = $("scroller");
    const space = $("space");
    if (anew) {
      space.replaceChildren();
      rows.clear();
      rowHeight = Number.parseFloat(getComputedStyle(document.documentElement).getPropertyValue("--row"));
      space.style.height = `${passing.length * rowHeight}px`;
      if (passing.length === 0) {
        space.append(make("div", "none", events.length === 0 ? "The log holds no events." : "No event passes the filters."));
      }
    }
    const begin = Math.max(0, Math.floor(scroller.scrollTop / rowHeight) - ROWS_BEYOND_VIEW);
    const end = Math.min(passing.length, Math.ceil((scroller.scrollTop + scroller.clientHeight) / rowHeight) + ROWS_BEYOND_VIEW);
    for (const [place, row] of rows) {
      if (place < begin || place >= end) {
        row.remove();
        rows.delete(place);
      }
    }
    const words = wordsOf();
    for (let place = begin; place < end; ++place) {
      if (!rows.has(place)) {
        const row = makeRow(place, words);
        rows.set(place, row);
        space.append(row);
      }
    }
    showActive();
  };
  const placeOf = (index) => passing.findIndex((event) => event.index === index);
  const showActive = () => {
    let active = "";
    for (const [place, row] of rows) {
      const isChosen = passing[place].index === state.chosen;
      row.setAttribute("aria-selected", String(isChosen));
      if (isChosen) active = row.id;
    }
    if (active) {
      $("grid").setAttribute("aria-activedescendant", active);
    } else {
      $("grid").removeAttribute("aria-activedescendant");
    }
  };
  const choose = (place) => {
    if (place < 0 || place >= passing.length) return;
    state.chosen = passing[place].index;
    const scroller = $("scroller");
    showDetails();
    const top = place * rowHeight;
    if (top < scroller.scrollTop) {
      scroller.scrollTop = top;
    } else if (top + rowHeight > scroller.scrollTop + scroller.clientHeight) {
      scroller.scrollTop = top + rowHeight - scroller.clientHeight;
    }
    drawRows(false);
    saveState();
  };
  const closeDetails = () => {
    state.chosen = -1;
    showDetails();
    showActive();
    saveState();
    $("grid").focus({ preventScroll: true });
  };

  const showDetails = () => {
    const details = $("details");
    details.replaceChildren();
    details.hidden = state.chosen < 0;
    if (state.chosen < 0) return;
    const event = events[state.chosen];
    const words = wordsOf();
    const head = make("div", "details-head");
    const title = make("h2", classOf(event.type));
    title.append(dot(), `${event.type} ${event.id}`);
    const copyButton = make("button", "", "Copy as text");
    copyButton.type = "button";
    copyButton.addEventListener("click", () => copy(asText(event), "the event"));
    const closeButton = make("button", "", "Close");
    closeButton.type = "button";
    closeButton.addEventListener("click", closeDetails);
    head.append(title, copyButton, closeButton);
    const body = make("div", "details-body");
    body.tabIndex = 0;
    const list = make("dl");
    const entries = [["Time", shown(event.iso) || "unknown"], ["Type", event.type], ["ID", String(event.id)], ["Source", event.source], ["Computer", event.computer], ["User", event.user]];
    for (const [name, value] of entries) {
      if (value !== "") {
        list.append(make("dt", "", name), addText(make("dd"), value, words, false));
      }
    }
    body.append(list, make("h3", "", "Description"), addText(make("pre", "text"), event.text, words, true));
    if (event.data) {
      body.append(make("h3", "", `Data, ${plural(event.data.length / 2, "byte")}`), make("pre", "dump", dumpOf(event.data)));
    }
    details.append(head, body);
  };

  // Chart ----------------------------------------------------------------------------------------------------------

  const SECOND = 1000;
  const DAY = 86400 * SECOND;
  const STEPS = [1, 2, 5, 10, 15, 30, 60, 120, 300, 600, 900, 1800, 3600, 7200, 10800, 21600, 43200, 86400, 172800, 604800, 1209600, 2592000, 7776000, 31536000].map((s) => s * SECOND);
  const PLOT_HEIGHT = 84; // above the labels of the axis
  const LEFT = 34;
  let chart = null; // what places in it stand for
  const svg = (name, attributes, parent) => {
    const element = document.createElementNS("http://www.w3.org/2000/svg", name);
    for (const [key, value] of Object.entries(attributes)) element.setAttribute(key, String(value));
    parent?.append(element);
    return element;
  };
  const drawChart = () => {
    const plot = $("plot");
    $("chart").hidden = dated.length === 0;
    if (dated.length === 0) return;
    const width = plot.clientWidth || 800;
    const room = width - LEFT;
    const step = STEPS.find((s) => (last - first) / s < room / 7) ?? STEPS.at(-1) * Math.ceil((last - first) / STEPS.at(-1) / (room / 7));
    const begin = Math.floor(first / step) * step;
    const count = Math.floor((last - begin) / step) + 1;
    const buckets = Array.from({ length: count }, () => null);
    let highest = 0;
    for (const event of inChart) {
      if (Number.isNaN(event.time)) continue;
      const place = Math.floor((event.time - begin) / step);
      const bucket = (buckets[place] ??= { all: 0, byType: new Map() });
      bucket.byType.set(event.type, (bucket.byType.get(event.type) ?? 0) + 1);
      highest = Math.max(highest, ++bucket.all);
    }
    chart = { begin, end: begin + count * step, step, left: LEFT, room };
    const image = svg("svg", { role: "img", "aria-label": `${plural(inChart.length, "event")} from ${shown(toText(first))} to ${shown(toText(last))}`, viewBox: `0 0 ${width} 104` });
    svg("line", { x1: LEFT, x2: width, y1: PLOT_HEIGHT + 0.5, y2: PLOT_HEIGHT + 0.5 }, image);
    if (highest > 0) {
      svg("line", { x1: LEFT, x2: width, y1: 8.5, y2: 8.5, "stroke-dasharray": "2 3" }, image);
      svg("text", { x: LEFT - 6, y: 12, "text-anchor": "end" }, image).textContent = number.format(highest);
    }
    svg("text", { x: LEFT - 6, y: PLOT_HEIGHT + 4, "text-anchor": "end" }, image).textContent = "0";
    const bar = room / count;
    buckets.forEach((bucket, i) => {
      if (!bucket) return;
      const column = svg("g", { class: "column" }, image);
      svg("rect", { class: "area", x: LEFT + i * bar, y: 0, width: bar, height: PLOT_HEIGHT }, column);
      let y = PLOT_HEIGHT;
      const parts = [];
      for (const type of types.slice().reverse()) {
        const n = bucket.byType.get(type);
        if (!n) continue;
        const height = Math.max((n / highest) * (PLOT_HEIGHT - 8), 0.75);
        y -= height;
        svg("rect", { class: "bar " + classOf(type), x: LEFT + i * bar + 0.5, y, width: Math.max(bar - 1, 0.75), height }, column);
        parts.unshift(`${number.format(n)} ${type}`);
      }
      svg("title", {}, column).textContent = `${shown(toText(begin + i * step))}: ${parts.join(", ")}`;
    });
    // Labels at round times: days where it spans days, else the time of day.
    const tick = STEPS.find((s) => (chart.end - begin) / s <= room / 78) ?? chart.end - begin;
    for (let time = Math.ceil(begin / tick) * tick; time < chart.end; time += tick) {
      const text = shown(toText(time));
      const label = tick >= DAY ? text.slice(0, 10) : time % DAY === 0 ? text.slice(5, 10) : text.slice(11, tick < 60 * SECOND ? 19 : 16);
      const x = LEFT + ((time - begin) / (chart.end - begin)) * room;
      svg("line", { x1: x, x2: x, y1: PLOT_HEIGHT, y2: PLOT_HEIGHT + 4 }, image);
      if (x > LEFT + 24 && x < width - 30) {
        svg("text", { x, y: PLOT_HEIGHT + 17, "text-anchor": "middle" }, image).textContent = label;
      }
    }
    plot.replaceChildren(image);
    drawSpan(state.from, state.to);
  };
  const drawSpan = (from, to) => {
    const image = $("plot").firstElementChild;
    image?.querySelector(".chosen")?.remove();
    const isOpen = Number.isNaN(from) && Number.isNaN(to);
    $("span").textContent = isOpen ? `${shown(toText(first))} to ${shown(toText(last))}` : `${Number.isNaN(from) ? "\u2026" : shown(toText(from))} to ${Number.isNaN(to) ? "\u2026" : shown(toText(to))}`;
    const plot = $("plot");
    plot.setAttribute("aria-valuetext", (isOpen ? "All: " : "") + $("span").textContent);
    plot.setAttribute("aria-valuenow", String(isOpen ? 0 : Math.round(((Number.isNaN(from) ? first : from) - chart.begin) / (chart.end - chart.begin) * 100)));
    if (isOpen || !image) return;
    const x1 = Math.max(chart.left, placeInChart(Number.isNaN(from) ? chart.begin : from));
    const x2 = Math.min(chart.left + chart.room, placeInChart(Number.isNaN(to) ? chart.end : to + SECOND));
    svg("rect", { class: "chosen", x: x1, y: 0.5, width: Math.max(1, x2 - x1), height: PLOT_HEIGHT }, image);
  };
  const placeInChart = (time) => chart.left + ((time - chart.begin) / (chart.end - chart.begin)) * chart.room;
  const timeInChart = (x) => {
    const part = Math.min(1, Math.max(0, (x - chart.left) / chart.room));
    return Math.round((chart.begin + part * (chart.end - chart.begin)) / SECOND) * SECOND;
  };

  const plot = $("plot");
  let dragFrom = NaN;
  let dragX = 0;
  const xOf = (pointer) => pointer.clientX - plot.getBoundingClientRect().left;
  plot.addEventListener("pointerdown", (pointer) => {
    if (pointer.button !== 0) return;
    plot.setPointerCapture(pointer.pointerId);
    dragX = xOf(pointer);
    dragFrom = timeInChart(dragX);
  });
  plot.addEventListener("pointermove", (pointer) => {
    if (Number.isNaN(dragFrom)) return;
    const time = timeInChart(xOf(pointer));
    drawSpan(Math.min(dragFrom, time), Math.max(dragFrom, time));
  });
  plot.addEventListener("pointerup", (pointer) => {
    if (Number.isNaN(dragFrom)) return;
    const time = timeInChart(xOf(pointer));
    const from = dragFrom;
    dragFrom = NaN;
    if (Math.abs(xOf(pointer) - dragX) < 4) {
      setSpan(NaN, NaN); // a click
    } else {
      setSpan(Math.min(from, time), Math.max(from, time));
    }
  });
  plot.addEventListener("pointercancel", () => {
    dragFrom = NaN;
    drawSpan(state.from, state.to);
  });
  plot.addEventListener("keydown", (key) => {
    const sign = key.key === "ArrowLeft" ? -1 : key.key === "ArrowRight" ? 1 : 0;
    if (key.key === "Escape") {
      setSpan(NaN, NaN);
    } else if (sign !== 0) {
      key.preventDefault();
      const isOpen = Number.isNaN(state.from) && Number.isNaN(state.to);
      const tenth = Math.max(chart.step, Math.round((chart.end - chart.begin) / 10 / chart.step) * chart.step);
      if (isOpen) {
        setSpan(sign > 0 ? chart.begin : chart.end - tenth, sign > 0 ? chart.begin + tenth - SECOND : chart.end - SECOND);
        return;
      }
      const from = Number.isNaN(state.from) ? chart.begin : state.from;
      const to = Number.isNaN(state.to) ? chart.end : state.to;
      const moved = sign * chart.step;
      setSpan(key.shiftKey ? from : from + moved, Math.max(from, to + moved));
    }
  });

  // Printing -------------------------------------------------------------------------------------------------------

  addEventListener("beforeprint", () => {
    const paper = $("paper");
    paper.replaceChildren(make("h1", "", "Event log"), make("p", "", `${$("about").textContent} \u2013 ${$("count").textContent}`));
    const table = make("table");
    const head = make("tr");
    for (const name of ["Time", "Type", "ID", "Source", "Description"]) head.append(make("th", "", name));
    table.append(make("thead"));
    table.tHead.append(head);
    const body = make("tbody");
    for (const event of passing) {
      const row = make("tr");
      row.append(make("td", "fixed", shown(event.iso)), make("td", "fixed", event.type), make("td", "fixed", String(event.id)), addText(make("td"), event.source, [], false));
      const text = addText(make("td"), event.text, [], true);
      if (event.data) text.append(make("pre", "", dumpOf(event.data)));
      row.append(text);
      body.append(row);
    }
    table.append(body);
    paper.append(table);
    paper.hidden = false;
  });
  addEventListener("afterprint", () => {
    $("paper").hidden = true;
    $("paper").replaceChildren();
  });

  // The page -------------------------------------------------------------------------------------------------------

  addText($("about"), `${log.name} \u2013 ${plural(events.length, "event")}, ${log.format === "xml" ? "XML" : "text"} log, page made ${shown(log.written)}`, [], false);
  if (log.lost > 0) {
    $("lost").hidden = false;
    $("lost").textContent = `${plural(log.lost, "event")} of the log could not be split and ${log.lost === 1 ? "is" : "are"} missing here.`;
  }
  const bySource = new Map();
  const byType = new Map();
  for (const event of events) {
    bySource.set(event.source, (bySource.get(event.source) ?? 0) + 1);
    byType.set(event.type, (byType.get(event.type) ?? 0) + 1);
  }
  for (const source of [...bySource.keys()].sort()) {
    if (source === "") continue;
    const option = make("option", "", `${source.replace(CONTROLS, "\ufffd")} (${number.format(bySource.get(source))})`);
    option.value = source;
    $("source").append(option);
  }
  for (const type of types) {
    const button = make("button", "");
    button.type = "button";
    button.dataset.type = type;
    const mark = make("span", classOf(type));
    mark.append(dot());
    button.append(mark, make("span", "", type), make("b", "", number.format(byType.get(type))));
    button.addEventListener("click", () => {
      if (!state.types.delete(type)) state.types.add(type);
      showState();
      apply();
    });
    $("types").append(button);
  }

  const THEMES = { auto: "Auto", light: "Light", dark: "Dark" };
  const ORDER = Object.keys(THEMES);
  let theme = "auto";
  const prefersDark = matchMedia("(prefers-color-scheme: dark)");
  const showTheme = () => {
    document.documentElement.dataset.theme = theme === "auto" ? (prefersDark.matches ? "dark" : "light") : theme;
    $("theme").textContent = THEMES[theme];
    $("theme").setAttribute("aria-label", theme === "auto" ? "Colours: as the system" : `Colours: ${theme}`);
  };
  prefersDark.addEventListener("change", showTheme);
  $("theme").addEventListener("click", () => {
    theme = ORDER[(ORDER.indexOf(theme) + 1) % ORDER.length];
    showTheme();
  });

  $("filters").addEventListener("submit", (event) => event.preventDefault());
  for (const [id, name] of [["words", "words"], ["ids", "ids"]]) {
    $(id).addEventListener("input", () => {
      state[name] = $(id).value;
      applySoon();
    });
  }
  $("source").addEventListener("change", () => {
    state.source = $("source").value;
    apply();
  });
  for (const id of ["from", "to"]) {
    $(id).addEventListener("change", () => {
      state[id] = toTime($(id).value);
      apply();
    });
  }
  $("reset").addEventListener("click", () => {
    Object.assign(state, { words: "", types: new Set(), source: "", ids: "", from: NaN, to: NaN });
    showState();
    apply();
  });
  $("head").addEventListener("click", (event) => {
    const column = event.target.closest("[data-column]")?.dataset.column;
    if (!(column in COMPARE)) return;
    state.down = state.sort === column ? !state.down : false;
    state.sort = column;
    $("scroller").scrollTop = 0;
    apply();
  });
  let drawing = 0;
  $("scroller").addEventListener("scroll", () => {
    cancelAnimationFrame(drawing);
    drawing = requestAnimationFrame(() => drawRows(false));
  }, { passive: true });
  $("scroller").addEventListener("click", (event) => {
    const row = event.target.closest(".row");
    if (row && getSelection().isCollapsed) choose(Number(row.dataset.place));
  });
  $("grid").addEventListener("keydown", (key) => {
    if (key.target.closest("button")) return;
    const place = state.chosen < 0 ? -1 : placeOf(state.chosen);
    const page = Math.max(1, Math.floor($("scroller").clientHeight / rowHeight) - 1);
    const moves = { ArrowDown: place + 1, ArrowUp: place - 1, PageDown: place + page, PageUp: place - page, Home: 0, End: passing.length - 1 };
    if (key.key in moves) {
      key.preventDefault();
      choose(Math.min(passing.length - 1, Math.max(0, moves[key.key])));
    } else if (key.key === "Enter" && place >= 0) {
      $("details").querySelector(".details-body")?.focus();
    } else if (key.key === "Escape" && state.chosen >= 0) {
      closeDetails();
    }
  });
  $("details").addEventListener("keydown", (key) => {
    if (key.key === "Escape") closeDetails();
  });
  addEventListener("keydown", (key) => {
    if (key.key === "/" && !/^(INPUT|SELECT|TEXTAREA)$/.test(document.activeElement.tagName)) {
      key.preventDefault();
      $("words").focus();
    }
  });
  $("copy").addEventListener("click", () => copy(passing.map(lineOf).join("\n") + "\n", plural(passing.length, "event")));
  $("print").addEventListener("click", () => print());
  addEventListener("hashchange", () => {
    loadState();
    apply();
    showDetails();
  });
  new ResizeObserver(() => {
    drawRows(true);
    if (dated.length > 0) drawChart();
  }).observe($("list"));

  showTheme();
  loadState();
  apply();
  showDetails();
  if (state.chosen >= 0) choose(placeOf(state.chosen));
})();
