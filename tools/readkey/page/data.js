"use strict";
// What the page shows: the data that readkey embedded, as objects. Every text of it may be a stranger's:
// it reaches the page only as text, never as markup.

const DAY = 86400;
const COLOURS = 8; // page.css has as many

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

const number = (value) => String(value).replace(/\B(?=(\d{3})+$)/g, "\u202f");
const plural = (count, one, many) => `${number(count)} ${count === 1 ? one : many}`;
const orDash = (value, show) => (value === null ? "-" : show(value));
const sum = (items, value) => items.reduce((total, item) => total + value(item), 0);

// Hours and minutes, such as "7:12".
function hours(seconds) {
    const minutes = Math.floor(seconds / 60);
    return `${number(Math.floor(minutes / 60))}:${String(minutes % 60).padStart(2, "0")}`;
}

// The rows of a table of numbers; an empty field is null.
function rows(id) {
    const text = byId(id).textContent.trim();
    return text ? text.split("\n").map((line) =>
        line.split(",").map((field) => (field === "" ? null : Number(field)))) : [];
}

// ---------------------------------------------------------------------------------------------------
// readkey's clock, not that of the browser's zone. Instants are seconds since 1970; days are counted from
// 1970 on that clock.

const offsets = rows("clock-rows"); // [from this instant on, seconds ahead of UTC]
offsets[0][0] = -Infinity;

// The index of the offset that holds at an instant.
function offsetAt(instant) {
    let index = offsets.length - 1;
    while (offsets[index][0] > instant)
        --index;
    return index;
}

const clock = (instant) => instant + offsets[offsetAt(instant)][1];
const dayOf = (instant) => Math.floor(clock(instant) / DAY);

// The instant at which a day begins; if its midnight is skipped, that of the change.
function midnight(day) {
    const begin = offsets.map(([from, offset]) => Math.max(from, day * DAY - offset));
    return begin.find((instant, i) => i + 1 === begin.length || instant < offsets[i + 1][0]);
}

// If the clock is put back, an hour comes twice: "a" the first time, "b" the second.
function repetition(instant) {
    const index = offsetAt(instant);
    const putBack = (i) => offsets[i - 1][1] - offsets[i][1];
    if (index > 0 && instant - offsets[index][0] < putBack(index))
        return "b";
    return index + 1 < offsets.length && offsets[index + 1][0] - instant <= putBack(index + 1) ? "a" : "";
}

const date = (day) => new Date(day * DAY * 1000).toISOString().slice(0, -14);

// "2024-03-13 05:00"
function dateAndTime(instant) {
    const text = new Date(clock(instant) * 1000).toISOString();
    return text.slice(0, -8).replace("T", " ") + repetition(instant);
}

// "2024-03-13 05:00 – 12:12": the second date only if it is another.
function span(start, end) {
    const last = dateAndTime(end);
    return `${dateAndTime(start)} – ${dayOf(start) === dayOf(end) ? last.slice(last.indexOf(" ") + 1) : last}`;
}

// ---------------------------------------------------------------------------------------------------
// Vehicles and drivers, in the order of their tables; insertions, and stretches without any

const tableRows = (id) => [...document.querySelectorAll(`#${id} tbody tr`)];
const textOf = (row, selector) => (row.querySelector(selector) || {textContent: ""}).textContent;

const known = rows("vehicle-rows");
const vehicles = tableRows("vehicles").map((row, i) =>
    ({plate: textOf(row, "th"), knownFrom: known[i][0], knownTo: known[i][1], download: known[i][2]}));
const drivers = tableRows("drivers").map((row) =>
    ({name: textOf(row, "th"), cards: textOf(row, ".cards").split("\n")}));
// What readkey searches: without the number of drivers who share a name, and nothing where there is none.
const searched = (text) => (text === "-" ? "" : text.replace(/ \(\d+ drivers\)$/, ""));
// Whether the name or plate is of one driver or vehicle, as far as the files say.
const isOne = (text) => text === searched(text);
const newest = vehicles.reduce((time, {download}) => Math.max(time, download), 0); // download

// What the odometer has gained; it may run back.
const gained = (from, to) => (from === null || to === null || to < from ? null : to - from);

const MISSING = ["", "card", "data"]; // by the kind of a stretch
const stretches = rows("stretch-rows");
const insertions = stretches.filter(([kind]) => !MISSING[kind]).map((row) => {
    const [, vehicle, driver, slot, start, withdrawn, kmIn, kmOut, end] = row;
    const open = withdrawn === null; // its bar ends at the download or the next card in its slot
    return {
        vehicle, driver, slot, start, open, withdrawn, kmIn, kmOut, end,
        seconds: open ? null : Math.max(0, withdrawn - start),
        km: gained(kmIn, kmOut),
    };
});
insertions.sort((a, b) => a.start - b.start || a.slot - b.slot);

// Driven without a card, or nothing known: between downloads, before a vehicle's first record and behind the download
// that has its last. They are nobody's, so a page of one driver, which readkey's own filter makes, has none of them.
const countsGaps = byId("picture").dataset.withoutCard !== "-";
const gaps = stretches.filter(([kind]) => MISSING[kind]).map(([kind, vehicle, , , start, end, kmIn, kmOut]) =>
    ({gap: MISSING[kind], vehicle, start, end, km: gained(kmIn, kmOut)}));
const measured = [...insertions, ...gaps]; // what has a beginning and an end
for (const [vehicle, {knownFrom, knownTo}] of countsGaps ? vehicles.entries() : []) {
    const addUnknown = (start, end) => gaps.push({gap: "data", vehicle, start, end, km: null});
    addUnknown(-Infinity, knownFrom === null ? Infinity : knownFrom);
    if (knownTo !== null)
        addUnknown(knownTo, Infinity);
}

function slotName(slot) {
    return slot === 0 ? "driver" : slot === 1 ? "co-driver" : `slot ${slot}`;
}

const nameOf = {
    driver: (insertion) => drivers[insertion.driver].name,
    vehicle: (insertion) => vehicles[insertion.vehicle].plate,
};

// What insertions add up to. Kilometres and a vehicle's hours are those of the driver's slot: both cards
// travel the same way.
function totals(list) {
    const driving = list.filter((insertion) => insertion.slot === 0);
    const seconds = (some) => sum(some, (insertion) => insertion.seconds || 0);
    return {
        count: list.length,
        driver: seconds(driving),
        others: seconds(list) - seconds(driving),
        km: sum(driving, (insertion) => insertion.km || 0),
    };
}

const OTHER_SLOTS = insertions.some(({slot}) => slot > 1) ? "other slots" : "co-driver's slot";

// "card in 7:30 + 1:00 h, 340 km": hours in the driver's and in other slots.
const cardIn = ({driver, others, km}) =>
    `card in ${hours(driver)}${others ? ` + ${hours(others)}` : ""} h, ${number(km)} km`;

// Kilometres without a card or without data, as far as they are known.
const missingKm = (list, kind) => sum(list, ({gap, km}) => (gap === kind && km || 0));

// ---------------------------------------------------------------------------------------------------
// Colours. They repeat when there are many to colour: each gets the one that is rarest so far among those
// it shares a lane with.

function colours(count, item, lane) {
    const lanesOf = Array.from({length: count}, () => new Set());
    for (const insertion of insertions)
        lanesOf[insertion[item]].add(insertion[lane]);
    const inLane = new Map();
    const everywhere = new Array(COLOURS).fill(0);
    return lanesOf.map((lanes) => {
        const cost = everywhere.map((uses) => uses / count);
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

// ---------------------------------------------------------------------------------------------------
// What the reader chose

// The period's firstDay and days, and the instants of its start and end, come from setPeriod().
const state = {lanes: "vehicle", driver: "", vehicle: ""}; // what was typed
const only = {driver: null, vehicle: null}; // or the index of the name that was clicked

// As readkey matches: each word, without regard to case, accents, blanks and commas.
const LETTERS = {"Ł": "L", "Ø": "O", "Đ": "D", "Ħ": "H", "Ŧ": "T", "Æ": "AE", "Œ": "OE", "Ð": "D", "Þ": "TH"};
const folded = (text) => text.normalize("NFKD").toUpperCase().replace(/[\p{M}\s,]/gu, "")
    .replace(/[ŁØĐĦŦÆŒÐÞ]/g, (letter) => LETTERS[letter]);

// Says for each item whether one of its texts contains what was typed.
function matching(kind, items, texts) {
    if (only[kind] !== null)
        return items.map((item, index) => index === only[kind]);
    const words = state[kind].split(/[\s,]+/).map(folded);
    const fits = (text) => words.every((word) => folded(searched(text)).includes(word));
    return items.map((item) => texts(item).some(fits));
}

const inPeriod = (item) => item.end >= state.start && item.start < state.end;
const crosses = (item) => item.start < state.start || item.end >= state.end;

// What the reader asked for of the insertions, in the order of time, of the gaps, and of the vehicles. A stretch
// without a card is nobody's: it goes when the reader asks for a driver.
function chosen() {
    const driverShown = matching("driver", drivers, (driver) => [driver.name, ...driver.cards]);
    const vehicleShown = matching("vehicle", vehicles, (vehicle) => [vehicle.plate]);
    const isShown = (item) => vehicleShown[item.vehicle] && inPeriod(item);
    return {
        list: insertions.filter((insertion) => driverShown[insertion.driver] && isShown(insertion)),
        gaps: gaps.filter((gap) => isShown(gap) && (gap.gap === "data" || !state.driver)),
        vehicleShown,
    };
}
