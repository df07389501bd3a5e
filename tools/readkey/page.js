// Draws the page from the data that readkey embedded. Every text of it may be a stranger's: it reaches
// the page only as text, never as markup.
"use strict";

const data = JSON.parse(document.getElementById("data").textContent);

const DAY = 86400;
const COLOURS = 8; // page.css has as many
const ROWS_AT_FIRST = 100; // of a table; its buttons show more
const ROWS_MORE = 1000;
const BARS_AT_ONCE = 10000; // above that, a lane is drawn when it comes into view
const MONTHS = ["January", "February", "March", "April", "May", "June", "July", "August", "September",
    "October", "November", "December"];
const WEEKDAYS = ["Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"];

// ---------------------------------------------------------------------------------------------------
// Small helpers

const byId = (id) => document.getElementById(id);

function element(tag, className, ...children) {
    const node = document.createElement(tag);
    if (className)
        node.className = className;
    node.append(...children);
    return node;
}

function button(text, onClick, className) {
    const node = element("button", className, text);
    node.type = "button";
    node.addEventListener("click", onClick);
    return node;
}

const plural = (count, one, many) => `${number(count)} ${count === 1 ? one : many}`;
const number = (value) => String(value).replace(/\B(?=(\d{3})+$)/g, "\u202f");
const orDash = (value, show) => (value === null || value === undefined ? "-" : show(value));

// Minutes of work as "7:12".
function hours(seconds) {
    const minutes = Math.floor(seconds / 60);
    return `${number(Math.floor(minutes / 60))}:${String(minutes % 60).padStart(2, "0")}`;
}

// An instant as seconds of readkey's clock, whatever zone the browser is in. `data.offsets` has the
// clock's distance from UTC for every instant of the data: [from this instant on, seconds].
function clock(instant) {
    let low = 0;
    let high = data.offsets.length;
    while (high - low > 1) {
        const middle = (low + high) >> 1;
        if (data.offsets[middle][0] <= instant)
            low = middle;
        else
            high = middle;
    }
    return instant + (data.offsets.length ? data.offsets[low][1] : 0);
}

// These take seconds of readkey's clock.
const iso = (seconds) => new Date(seconds * 1000).toISOString();
const date = (seconds) => iso(seconds).slice(0, 10);
const dateAndTime = (seconds) => iso(seconds).slice(0, 16).replace("T", " ");
const dayOf = (seconds) => Math.floor(seconds / DAY);

// "2024-03-13 05:00 – 12:12": the second date only where it is another.
function span(start, end) {
    const last = date(start) === date(end) ? dateAndTime(end).slice(11) : dateAndTime(end);
    return `${dateAndTime(start)} – ${last}`;
}

// Pixels of a text in a bar.
const pen = document.createElement("canvas").getContext("2d");
const textWidths = new Map();
function textWidth(text) {
    if (!textWidths.has(text)) {
        pen.font = `600 11px ${getComputedStyle(document.body).fontFamily}`;
        textWidths.set(text, pen.measureText(text).width);
    }
    return textWidths.get(text);
}

const age = (instant) => Math.max(0, Math.floor((data.newest - instant) / DAY));

// ---------------------------------------------------------------------------------------------------
// The data as objects

const {vehicles, drivers} = data;

// The rows of a table of numbers; an empty field is null.
function rows(id) {
    const text = byId(id).textContent.trim();
    return text ? text.split("\n").map((line) =>
        line.split(",").map((field) => (field === "" ? null : Number(field)))) : [];
}

const insertions = rows("insertion-rows").map(([vehicle, driver, slot, inserted, withdrawn, kmIn, kmOut, file]) => {
    const open = withdrawn === null;
    return {
        vehicle, driver, slot, open, kmIn, kmOut, file,
        start: clock(inserted),
        end: open ? null : clock(withdrawn),
        seconds: open ? null : Math.max(0, withdrawn - inserted),
        km: kmIn === null || kmOut === null || kmOut < kmIn ? null : kmOut - kmIn,
    };
});
insertions.sort((a, b) => a.start - b.start || a.slot - b.slot);

const gaps = rows("gap-rows").map(([vehicle, from, to, km]) =>
    ({vehicle, start: clock(from), end: clock(to), km}));

// An open bar goes on to the download that saw the card, or to the next card in the same slot.
function closeOpenBars() {
    const next = new Map();
    for (let i = insertions.length - 1; i >= 0; --i) {
        const insertion = insertions[i];
        const slot = `${insertion.vehicle}/${insertion.slot}`;
        if (insertion.open) {
            const file = data.files[insertion.file];
            const seen = file && file.downloaded !== null ? clock(file.downloaded) : 0;
            insertion.end = Math.max(insertion.start + 3600, seen);
            if (next.has(slot))
                insertion.end = Math.min(insertion.end, next.get(slot));
        }
        next.set(slot, insertion.start);
    }
}
closeOpenBars();

// The colours repeat when there are many to colour. Each gets the one that is rarest so far among those
// it shares a lane with.
function colours(count, item, lane) {
    const lanesOf = Array.from({length: count}, () => new Set());
    for (const insertion of insertions)
        lanesOf[insertion[item]].add(insertion[lane]);
    const inLane = new Map();
    const everywhere = new Array(COLOURS).fill(0);
    return lanesOf.map((lanes) => {
        const cost = everywhere.map((uses) => uses / (count + 1));
        for (const id of lanes) {
            if (!inLane.has(id))
                inLane.set(id, new Array(COLOURS).fill(0));
            inLane.get(id).forEach((uses, colour) => { cost[colour] += uses; });
        }
        const best = cost.indexOf(Math.min(...cost));
        ++everywhere[best];
        for (const id of lanes)
            ++inLane.get(id)[best];
        return best;
    });
}
const colourOf = {
    driver: colours(drivers.length, "driver", "vehicle"),
    vehicle: colours(vehicles.length, "vehicle", "driver"),
};
const nameOf = {
    driver: (insertion) => drivers[insertion.driver].name,
    vehicle: (insertion) => vehicles[insertion.vehicle].plate,
};

function slotName(slot) {
    return slot === 0 ? "driver" : slot === 1 ? "co-driver" : `slot ${slot}`;
}

// What the user chose.
const state = {lanes: "vehicle", driver: "", vehicle: "", firstDay: 0, days: 1};

// Tells for each item whether one of its texts has what the user typed; where that is the whole text of
// some, only those.
function matching(items, texts, typed) {
    const exact = items.map((item) => texts(item).includes(typed));
    if (typed !== "" && exact.includes(true))
        return exact;
    const part = typed.toLowerCase();
    return items.map((item) => texts(item).some((text) => text.toLowerCase().includes(part)));
}

const inPeriod = (item) =>
    item.end >= state.firstDay * DAY && item.start < (state.firstDay + state.days) * DAY;

// What the user asked for of the insertions and gaps, in the order of time. A stretch without a card is
// nobody's: it goes when the user asks for a driver.
function chosen() {
    const driverShown = matching(drivers, (driver) => [driver.name, driver.card], state.driver);
    const vehicleShown = matching(vehicles, (vehicle) => [vehicle.plate], state.vehicle);
    const isShown = (item) => vehicleShown[item.vehicle] && inPeriod(item);
    return [
        insertions.filter((insertion) => driverShown[insertion.driver] && isShown(insertion)),
        state.lanes === "vehicle" && !state.driver ? gaps.filter(isShown) : [],
    ];
}

// ---------------------------------------------------------------------------------------------------
// Tables: sorted by a click on a heading, and shown in portions

// A column is {title, text(row), number, key(row), cell(row)}; the first two are enough. `cell` gives a
// node in place of the text.
class Table {
    constructor(home, title, columns, empty) {
        this.columns = columns;
        this.empty = empty;
        this.home = home;
        this.heading = element("h2", "", title);
        this.body = element("tbody");
        this.footer = element("p", "note");
        const table = element("table", "", element("thead", "", this.headings()), this.body);
        const scroller = element("div", "scroller", table);
        scroller.tabIndex = 0;
        scroller.setAttribute("role", "region");
        scroller.setAttribute("aria-label", title);
        home.replaceChildren(this.heading, scroller, this.footer);
    }

    headings() {
        return element("tr", "", ...this.columns.map((column) => {
            const cell = element("th", column.number ? "number" : "");
            cell.scope = "col";
            cell.append(button(column.title, () => this.sortBy(column, cell)));
            return cell;
        }));
    }

    sortBy(column, cell) {
        const down = cell.getAttribute("aria-sort") === "ascending";
        this.home.querySelectorAll("th").forEach((other) => other.removeAttribute("aria-sort"));
        cell.setAttribute("aria-sort", down ? "descending" : "ascending");
        const key = column.key || column.text;
        const compare = (a, b) => (typeof a === "number" && typeof b === "number" ? a - b :
            String(a).localeCompare(String(b), "en", {numeric: true}));
        this.show([...this.rows].sort((a, b) => compare(key(a), key(b)) * (down ? -1 : 1)));
    }

    show(rows) {
        this.rows = rows;
        this.body.replaceChildren();
        this.more(ROWS_AT_FIRST);
    }

    more(count) {
        const from = this.body.rows.length;
        for (const row of this.rows.slice(from, from + count))
            this.body.append(this.row(row));
        const shown = this.body.rows.length;
        this.footer.replaceChildren();
        if (this.rows.length === 0) {
            this.footer.append(this.empty);
        } else if (shown < this.rows.length) {
            this.footer.append(`${number(shown)} of ${number(this.rows.length)} lines are shown. `,
                button(`Show ${number(Math.min(ROWS_MORE, this.rows.length - shown))} more`,
                    () => this.more(ROWS_MORE)));
        }
    }

    row(row) {
        return element("tr", "", ...this.columns.map((column) =>
            element("td", column.number ? "number" : "",
                column.cell ? column.cell(row) : column.text(row))));
    }
}

// A name with its colour; a click shows only its bars.
function chip(kind, index, name) {
    const node = button(name, () => {
        byId(kind).value = name;
        byId(kind).dispatchEvent(new Event("input"));
        byId("picture").scrollIntoView();
    }, "chip");
    if (kind === "driver")
        node.prepend(element("span", `swatch c${colourOf.driver[index]}`));
    node.title = `Show only ${name}`;
    return node;
}

// Of a vehicle's or card's newest download; what was never downloaded is oldest.
const ageKey = (item) => (item.download === null ? Infinity : age(item.download));

function ageCell(item) {
    const node = element("span", "", orDash(item.download, (time) => number(age(time))));
    if (item.overdue)
        node.prepend(element("strong", "overdue", "overdue"), " ");
    if (item.download !== null)
        node.title = dateAndTime(clock(item.download));
    return node;
}

function summaries() {
    new Table(byId("vehicles"), "Vehicles", [
        {title: "Vehicle", text: (v) => v.plate, cell: (v) => chip("vehicle", v.index, v.plate)},
        {title: "Last download", text: (v) => orDash(v.download, (t) => date(clock(t)))},
        {title: "Age in\u00a0days", number: true, key: ageKey, cell: ageCell},
        {title: "Insertions", number: true, key: (v) => v.insertions, text: (v) => number(v.insertions)},
        {title: "Drivers", number: true, key: (v) => v.drivers, text: (v) => number(v.drivers)},
        {title: "km", number: true, key: (v) => v.km, text: (v) => number(v.km)},
        {title: "Hours", number: true, key: (v) => v.seconds, text: (v) => hours(v.seconds)},
        {title: "km without a\u00a0card", number: true, key: (v) => v.kmWithoutCard,
            cell: (v) => element(v.kmWithoutCard ? "strong" : "span", "", number(v.kmWithoutCard))},
    ], "No vehicle was read.").show(vehicles);
    new Table(byId("drivers"), "Drivers", [
        {title: "Driver", text: (d) => d.name, cell: (d) => chip("driver", d.index, d.name)},
        {title: "Card number", text: (d) => d.card || "-"},
        {title: "Card's age in\u00a0days", number: true, key: ageKey, cell: ageCell},
        {title: "Vehicles", number: true, key: (d) => d.vehicles, text: (d) => number(d.vehicles)},
        {title: "Insertions", number: true, key: (d) => d.insertions, text: (d) => number(d.insertions)},
        {title: "Hours", number: true, key: (d) => d.seconds, text: (d) => hours(d.seconds)},
        {title: "km", number: true, key: (d) => d.km, text: (d) => number(d.km)},
    ], "No driver was read.").show(drivers);
}

const insertionTable = new Table(byId("insertions"), "Insertions", [
    {title: "Vehicle", text: nameOf.vehicle},
    {title: "Driver", text: nameOf.driver},
    {title: "Slot", text: (i) => slotName(i.slot)},
    {title: "Inserted", text: (i) => dateAndTime(i.start)},
    {title: "Withdrawn", text: (i) => (i.open ? "-" : dateAndTime(i.end))},
    {title: "Hours", number: true, key: (i) => i.seconds || 0, text: (i) => orDash(i.seconds, hours)},
    {title: "km from", number: true, key: (i) => i.kmIn || 0, text: (i) => orDash(i.kmIn, number)},
    {title: "km to", number: true, key: (i) => i.kmOut || 0, text: (i) => orDash(i.kmOut, number)},
    {title: "km", number: true, key: (i) => i.km || 0, text: (i) => orDash(i.km, number)},
], "No insertion matches.");

function filesAndFailures() {
    const severalKeys = data.keys.length > 1;
    const keyColumn = severalKeys ? [{title: "Key", text: (file) => file.key}] : [];
    const copied = data.files.some((file) => file.copy);
    new Table(byId("files"), "Files", [
        ...keyColumn,
        {title: "File", text: (file) => file.name},
        {title: "Downloaded", text: (file) => orDash(file.downloaded, (t) => dateAndTime(clock(t)))},
        {title: "Contents", text: (file) => file.contents,
            cell: (file) => element("span", file.status, file.contents)},
        ...(copied ? [{title: "Copy", text: (file) => file.copy || "-"}] : []),
    ], "No download was found.").show(data.files);
    if (data.failures.length === 0)
        return byId("failures").remove();
    new Table(byId("failures"), "What failed", [
        ...keyColumn,
        {title: "File", text: (failure) => failure.file || failure.key || "-"},
        {title: "Reason", text: (failure) => failure.reason,
            cell: (failure) => element("span", "failed", failure.reason)},
    ], "").show(data.failures);
}

// What the command line's filters, or the keys' other files, keep from this page.
function leftOut() {
    const hidden = data.insertionsFound - insertions.length;
    const others = data.otherEntries;
    return (hidden ? ` Left out, as it was asked: ${plural(hidden, "insertion", "insertions")}.` : "") +
        (others ? ` Not listed: ${plural(others, "file that does", "files that do")} not look like ` +
            `${others === 1 ? "a download" : "downloads"}.` : "");
}

function head() {
    const sum = (list, field) => list.reduce((total, item) => total + item[field], 0);
    const overdue = (list) => {
        const count = list.filter((item) => item.overdue).length;
        return count ? `${number(count)} overdue` : "";
    };
    const figure = (value, title, remark) => byId("figures").append(element("div", "",
        element("dt", "", title), element("dd", "", value),
        ...(remark ? [element("dd", "remark", remark)] : [])));
    figure(number(vehicles.length), "Vehicles", overdue(vehicles));
    figure(number(drivers.length), "Drivers", overdue(drivers));
    figure(number(insertions.length), "Insertions");
    figure(number(sum(vehicles, "km")), "Kilometres");
    figure(hours(sum(vehicles, "seconds")), "Hours");
    figure(number(sum(vehicles, "kmWithoutCard")), "km without a card");
    const failed = element("a", "", `${number(data.failures.length)} failed`);
    failed.href = "#failures";
    figure(number(data.files.length), "Files", data.failures.length ? failed : "");
    const newest = orDash(data.newest, (t) => dateAndTime(clock(t)));
    byId("about").textContent = `${data.keys.join(", ")}. Newest download: ${newest}. ` +
        `Times are ${data.zone}.${leftOut()}`;
    byId("overdue-rule").textContent = "A vehicle's data must be downloaded every " +
        `${data.vehicleDays} days, a card's every ${data.cardDays}. Ages are counted up to the newest ` +
        "download.";
}

// ---------------------------------------------------------------------------------------------------
// The picture's axis: days as columns, or months and years where a day is too narrow

const axis = byId("axis").querySelector(".track");
const grid = byId("grid");
const percent = (seconds) => 100 * (seconds / DAY - state.firstDay) / state.days;

function place(node, start, end) {
    const left = Math.max(0, percent(start));
    node.style.left = `${left}%`;
    node.style.width = `${Math.max(0, Math.min(100, percent(end)) - left)}%`;
    return node;
}

// Calls back for each calendar unit that touches the period: (first second, last second, Date).
function eachUnit(unit, callback) {
    const last = (state.firstDay + state.days) * DAY;
    const when = new Date(state.firstDay * DAY * 1000);
    if (unit !== "day")
        when.setUTCDate(1);
    if (unit === "year")
        when.setUTCMonth(0);
    while (when.getTime() / 1000 < last) {
        const start = new Date(when);
        if (unit === "day")
            when.setUTCDate(when.getUTCDate() + 1);
        else
            when.setUTCMonth(when.getUTCMonth() + (unit === "year" ? 12 : 1));
        callback(start.getTime() / 1000, when.getTime() / 1000, start);
    }
}

function axisLabel(row, text, start, end) {
    const node = place(element("span", row, element("span", "", text)), start, end);
    node.addEventListener("click", () => setPeriod(dayOf(start), Math.round((end - start) / DAY)));
    axis.append(node);
}

// Pixels of what the period has of it.
function visibleWidth(start, end) {
    const from = Math.max(start, state.firstDay * DAY);
    const to = Math.min(end, (state.firstDay + state.days) * DAY);
    return Math.max(0, to - from) * trackWidth / (state.days * DAY);
}

function drawDays(dayWidth) {
    eachUnit("day", (start, end, when) => {
        const weekday = when.getUTCDay();
        if (weekday === 0 || weekday === 6)
            grid.append(place(element("i", "weekend"), start, end));
        if (dayWidth >= 16 || weekday === 1)
            grid.append(place(element("i", "line"), start, start));
        const day = when.getUTCDate();
        if (dayWidth >= 48)
            axisLabel("day", `${WEEKDAYS[weekday]} ${day}`, start, end);
        else if (dayWidth >= 18)
            axisLabel("day", `${day}`, start, end);
        else if (weekday === 1 && dayWidth >= 3.67)
            axisLabel("day week", `${day}`, start, start + 7 * DAY);
        const step = dayWidth >= 400 ? 1 : dayWidth >= 120 ? 6 : 24;
        for (let hour = step; hour < 24; hour += step) {
            const at = start + hour * 3600;
            grid.append(place(element("i", "hour"), at, at));
            axis.append(place(element("span", "time", `${hour}`), at, at));
        }
    });
}

// As much of "March 2024" as fits; the year is left out below a row of years.
function monthName(when, width, withYear) {
    const name = MONTHS[when.getUTCMonth()];
    const full = withYear ? `${name} ${when.getUTCFullYear()}` : name;
    return [full, name, name.slice(0, 3), name.slice(0, 1)]
        .find((text) => textWidth(text) * 1.15 + 8 < width) || "";
}

function drawAxis(width) {
    axis.replaceChildren();
    grid.replaceChildren();
    const dayWidth = width / state.days;
    const withYears = dayWidth < 3.67; // where a month is too narrow for its year
    byId("axis").classList.toggle("with-years", withYears);
    byId("axis").classList.toggle("with-hours", dayWidth >= 120);
    if (dayWidth >= 1.5)
        drawDays(dayWidth);
    if (dayWidth >= 0.7) {
        eachUnit("month", (start, end, when) => {
            axisLabel("month", monthName(when, visibleWidth(start, end), !withYears), start, end);
            grid.append(place(element("i", "line month"), start, start));
        });
    }
    if (withYears) {
        eachUnit("year", (start, end, when) => {
            const year = when.getUTCFullYear();
            const isWide = visibleWidth(start, end) > 36;
            if (isWide || year % 10 === 0)
                axisLabel("year", `${year}`, start, isWide ? end : start + 3652 * DAY);
            grid.append(place(element("i", "line month"), start, start));
        });
    }
}

// ---------------------------------------------------------------------------------------------------
// The picture's lanes and bars

const lanesBox = byId("lanes");
let lanes = []; // {node, track, insertions, gaps, drawn}, from top to bottom
let trackWidth = 0; // pixels
let printing = false;
const seen = new IntersectionObserver((entries) => {
    for (const entry of entries) {
        if (entry.isIntersecting)
            drawLane(lanes.find((lane) => lane.node === entry.target));
    }
}, {rootMargin: "600px"});

// Bars below a pixel that begin in the same pixel become one.
function merged(list) {
    const scale = trackWidth / (state.days * DAY);
    const pixel = (seconds) => Math.floor((seconds - state.firstDay * DAY) * scale);
    const last = new Map(); // by slot: the two have bars of their own
    const bars = [];
    for (const insertion of list) {
        const narrow = (insertion.end - insertion.start) * scale < 1;
        const row = insertion.slot === 0 ? 0 : 1;
        const before = last.get(row);
        if (narrow && before && before.narrow && pixel(before.start) === pixel(insertion.start)) {
            before.members.push(insertion);
            before.end = Math.max(before.end, insertion.end);
        } else {
            const bar = {row, narrow, start: insertion.start, end: insertion.end, members: [insertion]};
            bars.push(bar);
            last.set(row, bar);
        }
    }
    return bars;
}

// The item that has most of a merged bar's time.
function longest(members, kind) {
    const time = new Map();
    for (const insertion of members)
        time.set(insertion[kind], (time.get(insertion[kind]) || 0) + insertion.end - insertion.start);
    return [...time].reduce((best, entry) => (entry[1] > best[1] ? entry : best))[0];
}

// What is told of a bar, line by line.
function describe(bar) {
    if (bar.gap)
        return [`${number(bar.gap.km)} km without a card`, vehicles[bar.gap.vehicle].plate,
            span(bar.start, bar.end)];
    if (bar.members.length > 1) {
        const count = (kind) => new Set(bar.members.map(nameOf[kind]));
        const names = [...count("driver")];
        return [names.slice(0, 4).join(", ") + (names.length > 4 ? ` and ${names.length - 4} more` : ""),
            `${number(bar.members.length)} insertions, too short to be drawn apart`,
            [...count("vehicle")].slice(0, 3).join(", "), span(bar.start, bar.end)];
    }
    const [insertion] = bar.members;
    const where = `${nameOf.vehicle(insertion)}, ${slotName(insertion.slot)}`;
    const from = orDash(insertion.kmIn, number);
    if (insertion.open)
        return [nameOf.driver(insertion), where,
            `${dateAndTime(insertion.start)} – not withdrawn at the download`, `from ${from} km`];
    return [nameOf.driver(insertion), where,
        `${span(insertion.start, insertion.end)} (${hours(insertion.seconds)} h)`,
        `${from} – ${orDash(insertion.kmOut, number)} km (${orDash(insertion.km, number)} km)`];
}

// The name, or else the last word of a driver's name, if it fits.
function shortened(name, kind, width) {
    const choice = kind === "driver" ? [name, name.split(" ").pop()] : [name];
    return choice.find((text) => textWidth(text) <= width) || "";
}

function barNode(bar) {
    const node = element("div", "bar");
    if (bar.gap) {
        node.className = "gap";
        const text = `${number(bar.gap.km)} km`;
        if (textWidth(text) + 36 < visibleWidth(bar.start, bar.end))
            node.append(element("span", "", text));
    } else {
        const other = state.lanes === "vehicle" ? "driver" : "vehicle";
        const [insertion] = bar.members;
        node.className = `bar row${bar.row} c${colourOf[other][longest(bar.members, other)]}`;
        node.classList.toggle("open", insertion.open);
        const width = visibleWidth(bar.start, bar.end);
        node.classList.toggle("wide", width >= 6);
        if (bar.row === 0 && width >= 20)
            node.append(element("span", "", shortened(nameOf[other](insertion), other, width - 10)));
    }
    node.tabIndex = -1;
    node.setAttribute("role", "img");
    node.setAttribute("aria-label", describe(bar).join(", "));
    node.bar = bar;
    bar.node = node;
    return place(node, bar.start, bar.end);
}

function drawLane(lane) {
    if (lane.drawn)
        return;
    lane.drawn = true;
    seen.unobserve(lane.node);
    lane.bars = merged(lane.insertions);
    if (lane.bars.length < lane.insertions.length)
        byId("joined").hidden = false;
    for (const gap of lane.gaps)
        lane.bars.push({gap, start: gap.start, end: gap.end, row: 0});
    lane.bars.sort((a, b) => a.start - b.start || a.row - b.row);
    lane.track.replaceChildren();
    for (const bar of lane.bars)
        lane.track.append(barNode(bar));
}

function laneTitle(kind, id, list) {
    const others = new Set(list.map((insertion) => insertion[kind === "vehicle" ? "driver" : "vehicle"]));
    // A co-driver does not drive: the kilometres of both slots are the same ones.
    const km = list.reduce((sum, insertion) => sum + (insertion.slot === 0 && insertion.km || 0), 0);
    const name = kind === "vehicle" ? vehicles[id].plate : drivers[id].name;
    const count = kind === "vehicle" ? plural(others.size, "driver", "drivers") :
        plural(others.size, "vehicle", "vehicles");
    const label = element("div", "label", element("b", "", name),
        element("small", "", `${count}, ${number(km)} km`));
    label.title = name;
    return [label, `${name}, ${count}, ${number(km)} km`];
}

function makeLane(kind, id, list, laneGaps) {
    const track = element("div", "track");
    const [label, text] = laneTitle(kind, id, list);
    const node = element("div", "lane", label, track);
    node.setAttribute("role", "group");
    node.setAttribute("aria-label", text);
    return {node, track, insertions: list, gaps: laneGaps, drawn: false};
}

function makeLanes(list, gapList) {
    const kind = state.lanes;
    const members = (kind === "vehicle" ? vehicles : drivers).map(() => ({list: [], gaps: []}));
    for (const insertion of list)
        members[insertion[kind]].list.push(insertion);
    for (const gap of gapList)
        members[gap.vehicle].gaps.push(gap);
    lanes = members.flatMap((member, id) => (member.list.length || member.gaps.length ?
        [makeLane(kind, id, member.list, member.gaps)] : []));
}

function drawLanes() {
    seen.disconnect();
    byId("joined").hidden = true;
    lanesBox.replaceChildren(grid);
    let bars = 0;
    for (const lane of lanes) {
        lanesBox.append(lane.node);
        lane.drawn = false;
        if (bars < BARS_AT_ONCE || printing)
            drawLane(lane);
        else
            seen.observe(lane.node);
        bars += lane.drawn ? lane.bars.length : 0;
    }
    setCurrent(lanes.length ? lanes[0].bars[0].node : null);
}

// Says how many are shown, and what is not.
function tellShown(list) {
    if (insertions.length === 0) {
        byId("shown").textContent = "No insertion was read.";
        return;
    }
    const parts = [];
    const outside = insertions.length - insertions.filter(inPeriod).length;
    parts.push(list.length === insertions.length ? `All ${plural(list.length, "insertion", "insertions")}` :
        `${number(list.length)} of ${plural(insertions.length, "insertion", "insertions")}`);
    parts.push(`${date(state.firstDay * DAY)} to ${date((state.firstDay + state.days - 1) * DAY)}`);
    let text = `${parts.join(", ")}.`;
    if (outside)
        text += ` ${plural(outside, "insertion lies", "insertions lie")} outside of this period.`;
    byId("shown").textContent = text;
}

function draw() {
    trackWidth = axis.clientWidth || 1;
    drawAxis(trackWidth);
    drawLanes();
}

function update() {
    hideTip();
    const [list, gapList] = chosen();
    makeLanes(list, gapList);
    draw();
    tellShown(list);
    const order = state.lanes === "vehicle" ? ["vehicle", "driver"] : ["driver", "vehicle"];
    insertionTable.show([...list].sort((a, b) => a[order[0]] - b[order[0]] || a.start - b.start));
    byId("axis").querySelector(".label").textContent = state.lanes === "vehicle" ? "Vehicle" : "Driver";
    byId("colour-rule").textContent = `Colours tell ${state.lanes === "vehicle" ? "drivers" : "vehicles"} ` +
        "apart; with many of them a colour stands for several.";
    for (const node of document.querySelectorAll(".gap-bar"))
        node.parentNode.hidden = state.lanes !== "vehicle";
}

// ---------------------------------------------------------------------------------------------------
// Pointing and the keyboard. One bar at a time can be reached with Tab; the arrow keys go on from there.

const tip = byId("tip");
let current = null; // that bar's node
let tipped = null; // the node that the tip is of

function setCurrent(node) {
    if (current)
        current.tabIndex = -1;
    current = node;
    if (current)
        current.tabIndex = 0;
}

function showTip(node) {
    tipped = node;
    const [title, ...lines] = describe(node.bar);
    tip.replaceChildren(element("b", "", title), ...lines.map((line) => element("div", "", line)));
    tip.hidden = false;
    const box = node.getBoundingClientRect();
    const middle = (Math.max(box.left, 0) + Math.min(box.right, innerWidth)) / 2;
    const left = Math.min(Math.max(8, middle - tip.offsetWidth / 2), innerWidth - tip.offsetWidth - 8);
    const above = box.top - tip.offsetHeight - 8;
    tip.style.left = `${left}px`;
    tip.style.top = `${above >= 4 ? above : box.bottom + 8}px`;
}

function hideTip() {
    tip.hidden = true;
}

const barAt = (event) => event.target.closest && event.target.closest(".bar, .gap");

function onBar(event) {
    const node = barAt(event);
    if (node && node.bar)
        showTip(node);
}

// The bar of a lane that is nearest in time.
function nearest(lane, time) {
    drawLane(lane);
    return lane.bars.reduce((best, bar) =>
        (Math.abs(bar.start - time) < Math.abs(best.start - time) ? bar : best));
}

function step(key, node) {
    const row = lanes.findIndex((lane) => lane.track === node.parentNode);
    const {bars} = lanes[row];
    const column = bars.indexOf(node.bar);
    switch (key) {
    case "ArrowLeft": return bars[column - 1];
    case "ArrowRight": return bars[column + 1];
    case "Home": return bars[0];
    case "End": return bars[bars.length - 1];
    case "ArrowUp": return row > 0 ? nearest(lanes[row - 1], node.bar.start) : undefined;
    case "ArrowDown": return row + 1 < lanes.length ? nearest(lanes[row + 1], node.bar.start) : undefined;
    default: return null;
    }
}

function onKey(event) {
    const node = barAt(event);
    if (!node || event.ctrlKey || event.altKey || event.metaKey)
        return;
    if (event.key === "Escape")
        hideTip();
    const target = step(event.key, node);
    if (target === null)
        return;
    event.preventDefault();
    if (target) {
        setCurrent(target.node);
        target.node.focus();
    }
}

lanesBox.addEventListener("mouseover", onBar);
lanesBox.addEventListener("mouseout", () => {
    if (document.activeElement === current && current)
        showTip(current);
    else
        hideTip();
});
lanesBox.addEventListener("focusin", (event) => {
    if (barAt(event))
        setCurrent(barAt(event));
    onBar(event);
});
lanesBox.addEventListener("focusout", hideTip);
lanesBox.addEventListener("keydown", onKey);
addEventListener("scroll", () => {
    if (!tip.hidden)
        showTip(tipped);
}, {passive: true});

// ---------------------------------------------------------------------------------------------------
// The controls

// All days on which something happened, up to twelve months before the newest download.
function wholePeriod() {
    let first = Infinity;
    let last = -Infinity;
    for (const insertion of insertions) {
        first = Math.min(first, dayOf(insertion.start));
        last = Math.max(last, dayOf(Math.max(insertion.start, insertion.end - 1)));
    }
    return first <= last ? [first, last - first + 1] : [dayOf(data.newest || 0), 1];
}

function firstPeriod() {
    const [first, days] = wholePeriod();
    if (days <= 366)
        return [first, days];
    // A wrong clock must not push everything else out of the picture.
    const newest = data.newest === null ? first + days - 1 : dayOf(clock(data.newest));
    const last = Math.max(first, Math.min(first + days - 1, newest));
    return [last - 365, 366];
}

function setPeriod(firstDay, days) {
    state.firstDay = firstDay;
    state.days = days;
    byId("from").value = date(firstDay * DAY);
    const [first, all] = wholePeriod();
    const period = byId("period");
    period.value = firstDay === first && days === all ? "all" : String(days);
    if (period.selectedIndex < 0) {
        period.value = "other";
        period.selectedOptions[0].textContent = plural(days, "day", "days");
    }
    update();
}

function onPeriod() {
    const length = byId("period").value;
    if (length === "all")
        return setPeriod(...wholePeriod());
    if (length === "other")
        return undefined;
    const days = Number(length);
    const end = state.firstDay + state.days;
    // A shorter period keeps the newest days in view.
    return setPeriod(days < state.days ? end - days : state.firstDay, days);
}

function controls() {
    for (const radio of document.querySelectorAll("[name=lanes]")) {
        radio.addEventListener("change", () => {
            state.lanes = radio.value;
            update();
        });
    }
    for (const kind of ["driver", "vehicle"]) {
        byId(kind).addEventListener("input", () => {
            state[kind] = byId(kind).value.trim();
            update();
        });
    }
    for (const name of new Set(drivers.map((driver) => driver.name)))
        byId("driver-names").append(option(name));
    for (const vehicle of vehicles)
        byId("plates").append(option(vehicle.plate));
    byId("period").addEventListener("change", onPeriod);
    byId("from").addEventListener("change", () => {
        const time = Date.parse(`${byId("from").value}T00:00:00Z`);
        if (!Number.isNaN(time))
            setPeriod(time / 1000 / DAY, state.days);
    });
    byId("earlier").addEventListener("click", () => setPeriod(state.firstDay - state.days, state.days));
    byId("later").addEventListener("click", () => setPeriod(state.firstDay + state.days, state.days));
}

function option(value) {
    const node = element("option");
    node.value = value;
    return node;
}

vehicles.forEach((vehicle, index) => { vehicle.index = index; });
drivers.forEach((driver, index) => { driver.index = index; });
head();
summaries();
filesAndFailures();
controls();
byId("picture").classList.toggle("empty", insertions.length === 0);
setPeriod(...firstPeriod());
new ResizeObserver(() => {
    if (Math.abs(axis.clientWidth - trackWidth) > 1)
        draw();
}).observe(axis);
addEventListener("beforeprint", () => {
    printing = true;
    lanes.forEach(drawLane);
});
addEventListener("afterprint", () => { printing = false; });
