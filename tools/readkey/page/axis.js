// The picture's axis: days as columns, or months and years if a day is too narrow. A click goes there.

const MONTHS = ["January", "February", "March", "April", "May", "June", "July", "August", "September",
    "October", "November", "December"];
const WEEKDAYS = ["Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"];

const axis = byId("axis").querySelector(".track");
const grid = byId("grid");
let trackWidth; // pixels of the axis and of each lane

const dayWidth = () => trackWidth / state.days;
const percent = (instant) => 100 * (instant - state.start) / (state.end - state.start);

function place(node, start, end) {
    const left = Math.max(0, percent(start));
    node.style.left = `${left}%`;
    node.style.width = `${Math.max(0, Math.min(100, percent(end)) - left)}%`;
    return node;
}

// Pixels of what the period has of it.
function visibleWidth(start, end) {
    return Math.max(0, Math.min(end, state.end) - Math.max(start, state.start)) * trackWidth /
        (state.end - state.start);
}

// Pixels of a text in a bar.
const pen = document.createElement("canvas").getContext("2d");
pen.font = `600 11px ${getComputedStyle(document.body).fontFamily}`;
const textWidth = (text) => pen.measureText(text).width;

// Calls back for each calendar unit that touches the period: (first day, day behind it, its Date).
function eachUnit(unit, callback) {
    const when = new Date(state.firstDay * DAY * 1000);
    const day = () => when.getTime() / 1000 / DAY;
    if (unit !== "day")
        when.setUTCDate(1);
    if (unit === "year")
        when.setUTCMonth(0);
    while (day() < state.firstDay + state.days) {
        const first = day();
        const start = new Date(when);
        if (unit === "day")
            when.setUTCDate(when.getUTCDate() + 1);
        else
            when.setUTCMonth(when.getUTCMonth() + (unit === "year" ? 12 : 1));
        callback(first, day(), start);
    }
}

function axisLabel(row, text, first, behind) {
    const node = place(element("span", row, element("span", "", text)), midnight(first), midnight(behind));
    node.addEventListener("click", () => {
        const begin = Math.max(first, firstDay);
        setPeriod(begin, Math.min(behind, lastDay + 1) - begin);
    });
    axis.append(node);
}

function gridLine(kind, start, end) {
    grid.append(place(element("i", kind), start, end));
}

// Whole hours of the clock, as many as have room.
function drawHours(first, behind) {
    const every = (dayWidth() >= 400 ? 1 : 6) * 3600;
    for (let at = midnight(first); at < midnight(behind); at += 1800) {
        const time = clock(at) % DAY;
        if (time === 0 || time % every !== 0)
            continue;
        gridLine("hour", at, at);
        axis.append(place(element("span", "time", `${time / 3600}${repetition(at)}`), at, at));
    }
}

function drawDays() {
    const width = dayWidth();
    eachUnit("day", (first, behind, when) => {
        const weekday = when.getUTCDay();
        const day = `${when.getUTCDate()}`;
        if (width >= 6 && weekday % 6 === 0)
            gridLine("weekend", midnight(first), midnight(behind));
        if (width >= 18 || width >= 6 && weekday === 1)
            gridLine("line", midnight(first), midnight(first));
        if (width >= 18)
            axisLabel("day", width >= 48 ? `${WEEKDAYS[weekday]} ${day}` : day, first, behind);
        else if (weekday === 1)
            axisLabel("day week", day, first, first + 7);
        if (width >= 120)
            drawHours(first, behind);
    });
}

// As much of "March 2024" as fits; the year is left out below a row of years.
function monthName(when, width, withYear) {
    const name = MONTHS[when.getUTCMonth()];
    const full = withYear ? `${name} ${when.getUTCFullYear()}` : name;
    return [full, name, name.slice(0, 3), name.slice(0, 1)]
        .find((text) => textWidth(text) * 1.15 + 8 < width) || "";
}

function drawAxis() {
    axis.replaceChildren();
    grid.replaceChildren();
    const width = dayWidth();
    const withYears = width < 3.67; // a month is too narrow for its year
    byId("axis").classList.toggle("with-years", withYears);
    if (!withYears)
        drawDays();
    byId("axis").classList.toggle("with-hours", axis.querySelector(".time") !== null);
    if (width >= 0.7) {
        eachUnit("month", (first, behind, when) => {
            const room = visibleWidth(midnight(first), midnight(behind));
            axisLabel("month", monthName(when, room, !withYears), first, behind);
            gridLine("line month", midnight(first), midnight(first));
        });
    }
    if (withYears) {
        eachUnit("year", (first, behind, when) => {
            const year = when.getUTCFullYear();
            const isWide = visibleWidth(midnight(first), midnight(behind)) > 36;
            if (isWide || year % 10 === 0)
                axisLabel("year", `${year}`, first, isWide ? behind : first + 3652);
            gridLine("line month", midnight(first), midnight(first));
        });
    }
}
