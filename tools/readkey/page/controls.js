// The controls: what is shown, and what it adds up to.

const WEEKS_AT_FIRST = 4;

// The first and the last day of which anything is known, or else the page's last day. readkey's own filter has left out
// what lies behind its days.
function dataDays() {
    let first = Infinity;
    let last = newest;
    for (const {start, end} of measured) {
        first = Math.min(first, start);
        last = Math.max(last, end);
    }
    const {from, to} = byId("picture").dataset;
    const dayAt = (text) => Date.parse(text) / 1000 / DAY;
    const end = Math.min(dayOf(last || Infinity), dayAt(to));
    return [Math.min(Math.max(dayOf(first), dayAt(from)), end), end];
}

const insertionTable = makeTables();
const [firstDay, lastDay] = dataDays();

// ---------------------------------------------------------------------------------------------------
// What the choice adds up to

const hasGaps = () => countsGaps && state.lanes === "vehicle" && !state.driver;

function showTotals(list, gapList) {
    const {count, driver, others, km} = totals(list);
    const figures = [
        [count === insertions.length ? number(count) : `${number(count)} of ${number(insertions.length)}`,
            "Insertions"],
        [`${hours(driver)} h`, "Card in, driver's slot"],
        [`${hours(others)} h`, `Card in, ${OTHER_SLOTS}`],
        [number(km), "Kilometres"],
        ...(hasGaps() ? [[number(missingKm(gapList, "card")), "km without a card"],
            [number(missingKm(gapList, "data")), "km without data"]] : []),
    ];
    byId("totals").replaceChildren(...figures.map(([value, title]) =>
        element("div", "", element("dt", "", title), element("dd", "", value))));
}

// "2024-03-01 to 2024-03-15. Crossing its edge and counted whole: 3 insertions (card in 7:30 h, 340 km), 12 km
// without a card."
function showPeriod(list, gapList) {
    const parts = [`${date(state.firstDay)} to ${date(state.firstDay + state.days - 1)}.`];
    const crossing = list.filter(crosses);
    const all = crossing.length ?
        [`${plural(crossing.length, "insertion", "insertions")} (${cardIn(totals(crossing))})`] : [];
    for (const [kind, what] of hasGaps() ? [["card", "a card"], ["data", "data"]] : []) {
        const km = missingKm(gapList.filter(crosses), kind);
        if (km)
            all.push(`${number(km)} km without ${what}`);
    }
    if (all.length)
        parts.push(`Crossing its edge and counted whole: ${all.join(", ")}.`);
    const outside = insertions.length - insertions.filter(inPeriod).length;
    if (outside)
        parts.push(`${plural(outside, "insertion lies", "insertions lie")} outside of this period.`);
    byId("shown").textContent = parts.join(" ");
    const filters = ["driver", "vehicle"].filter((kind) => state[kind]).map((kind) => `${kind} “${state[kind]}”`);
    byId("filter").textContent = `The picture and the insertions show ${[...filters, parts[0]].join(", ")} ` +
        "The other tables are of all days, drivers and vehicles of this page.";
}

// Draws what was chosen: everything again, or only what has changed.
function update(all) {
    hideTip();
    const choice = chosen();
    makeLanes(choice, all);
    if (all) {
        trackWidth = axis.clientWidth;
        layOutColumns();
        drawAxis();
        byId("picture").className = `${measured.length ? "" : "empty"} ${columns.length ? "by-day" : ""}`;
        document.body.className = `by-${state.lanes}`;
    }
    drawLanes();
    showTotals(choice.list, choice.gaps);
    showPeriod(choice.list, choice.gaps);
    insertionTable.show(choice.list.sort((a, b) => a[state.lanes] - b[state.lanes] || a.start - b.start));
    byId("count").textContent = number(choice.list.length);
}

// ---------------------------------------------------------------------------------------------------
// The period. It stays within the data.

function setPeriod(first, days) {
    state.days = Math.min(days, lastDay - firstDay + 1);
    state.firstDay = Math.max(firstDay, Math.min(first, lastDay - state.days + 1));
    state.start = midnight(state.firstDay);
    state.end = midnight(state.firstDay + state.days);
    if (document.activeElement !== byId("from"))
        byId("from").value = date(state.firstDay);
    byId("earlier").setAttribute("aria-disabled", state.firstDay === firstDay);
    byId("later").setAttribute("aria-disabled", state.firstDay + state.days > lastDay);
    const period = byId("period");
    period.value = state.days > lastDay - firstDay ? "all" : String(state.days);
    if (period.selectedIndex < 0) {
        period.value = "other";
        period.selectedOptions[0].textContent = plural(state.days, "day", "days");
    }
    keepFocus(() => update(true));
}

// Another length keeps the newest day in view.
function onPeriod() {
    const length = byId("period").value;
    const days = length === "all" ? Infinity : Number(length);
    if (length !== "other")
        setPeriod(state.firstDay + state.days - days, days);
}

// A date is complete only after several changes; the field is left alone meanwhile.
function onFrom() {
    const first = Date.parse(`${byId("from").value}T00:00:00Z`) / 1000 / DAY;
    const days = byId("period").value === "other" ? state.days : Number(byId("period").value) || Infinity;
    if (first >= firstDay && first <= lastDay)
        setPeriod(first, Math.min(days, lastDay - first + 1));
}

// ---------------------------------------------------------------------------------------------------
// The form

function onTyped(kind, index) {
    state[kind] = byId(kind).value.trim();
    only[kind] = index;
    update(false);
}

function chooseOnly(kind, name, index) {
    byId(kind).value = searched(name) || name;
    onTyped(kind, index);
    byId("picture").scrollIntoView();
}

function fillList(list, texts) {
    const named = texts.map(searched).filter((text) => text);
    list.append(...named.map((text) => Object.assign(element("option"), {value: text})));
}

function listenToForm() {
    for (const radio of document.querySelectorAll("[name=lanes]")) {
        radio.addEventListener("change", () => {
            state.lanes = radio.value;
            update(true);
        });
    }
    for (const kind of ["driver", "vehicle"])
        byId(kind).addEventListener("input", () => onTyped(kind, null));
    fillList(byId("driver-names"), drivers.map((driver) => driver.name));
    fillList(byId("plates"), vehicles.map((vehicle) => vehicle.plate));
    byId("period").addEventListener("change", onPeriod);
    byId("from").addEventListener("change", onFrom);
    byId("from").addEventListener("blur", () => { byId("from").value = date(state.firstDay); });
    byId("earlier").addEventListener("click", () => setPeriod(state.firstDay - state.days, state.days));
    byId("later").addEventListener("click", () => setPeriod(state.firstDay + state.days, state.days));
    // A link to a part opens its table.
    for (const link of document.querySelectorAll("[href^='#']")) {
        link.addEventListener("click", () => {
            const details = document.querySelector(`${link.hash} details`);
            if (details)
                details.open = true;
        });
    }
}

byId("other-slots").textContent = OTHER_SLOTS;
document.querySelectorAll(".without-script").forEach((node) => node.remove());
document.querySelectorAll(".with-script").forEach((node) => node.classList.remove("with-script"));
listen();
listenToForm();
// A wrong clock must not push everything else out of the picture.
setPeriod((newest ? dayOf(newest) : lastDay) - 7 * WEEKS_AT_FIRST + 1, 7 * WEEKS_AT_FIRST);
new ResizeObserver(() => {
    if (Math.abs(axis.clientWidth - trackWidth) > 1)
        keepFocus(() => update(true));
}).observe(axis);
