// Pointing at the picture, and the keyboard. Each lane is one stop of the Tab key; the arrow keys go on from there.

const REACH = 22; // pixels from a finger to what it means

const tip = byId("tip");
let tipped = []; // the lane and item that it is of

const withdrawn = (members) => members.filter(({open}) => !open);

function describeGap({gap, vehicle, start, end, km}) {
    const when = start > -Infinity ? end < Infinity ? span(start, end) : `since ${dateAndTime(start)}` :
        end < Infinity ? `before ${dateAndTime(end)}` : "at any time";
    const {plate} = vehicles[vehicle];
    if (gap === "card")
        return [`${number(km)} km without a card`, plate, when];
    return ["No data", plate, when, ...(km === null ? [] : [`${number(km)} km`])];
}

function describeInsertion(insertion) {
    const where = `${nameOf.vehicle(insertion)}, ${slotName(insertion.slot)}`;
    const from = orDash(insertion.kmIn, number);
    if (insertion.open)
        return [nameOf.driver(insertion), where,
            `${dateAndTime(insertion.start)} – no withdrawal recorded`, `from ${from} km`];
    return [nameOf.driver(insertion), where,
        `${span(insertion.start, insertion.withdrawn)} (card in ${hours(insertion.seconds)} h)`,
        `${from} – ${orDash(insertion.kmOut, number)} km (${orDash(insertion.km, number)} km)`];
}

// "Jo Sample: card in 7:12 h" for each name, the longest first.
function describeTimes(members, seconds) {
    const name = (id) => (other() === "driver" ? drivers[id].name : vehicles[id].plate);
    const lines = [
        ...times(withdrawn(members), other(), seconds).map(([id, time]) => `${name(id)}: card in ${hours(time)} h`),
        ...times(members.filter(({open}) => open), other(), seconds)
            .map(([id]) => `${name(id)}: no withdrawal recorded`)];
    return lines.length > 6 ? [...lines.slice(0, 5), `and ${lines.length - 5} more`] : lines;
}

function describeDays({lane, members, gaps: without, start, end}) {
    const first = dayOf(start);
    const last = dayOf(end) - 1;
    const day = WEEKDAYS[(first + 4) % 7];
    const within = (item) => Math.min(item.end, end) - Math.max(item.start, start);
    const others = withdrawn(members).filter((insertion) => insertion.slot !== 0);
    const slots = others.length && lane.kind === "vehicle" ?
        [`card in ${hours(sum(others, within))} h in the ${OTHER_SLOTS}`] : [];
    return [first === last ? `${day} ${date(first)}` : `${date(first)} – ${date(last)}`, laneName(lane),
        ...describeTimes(members, within), ...slots,
        ...without.map((gap) => `${number(gap.km)} km without a card, ${span(gap.start, gap.end)}`)];
}

// What the tip and a screen reader say of an item of a lane, line by line.
function describe(item) {
    if (item.gap)
        return describeGap(item);
    if (item.heights)
        return describeDays(item);
    if (item.members.length === 1)
        return describeInsertion(item.members[0]);
    return [`${number(item.members.length)} insertions, too short to be drawn apart`,
        span(item.start, item.end), ...describeTimes(item.members, (insertion) => insertion.end - insertion.start)];
}

// ---------------------------------------------------------------------------------------------------
// The tip

// Where an item is on the screen.
function boxOf(lane, item) {
    if (item.node)
        return item.node.getBoundingClientRect();
    const {left, width, top, bottom} = lane.track.getBoundingClientRect();
    const at = (instant) => left + width * percent(instant) / 100;
    return {left: at(item.start), right: at(item.end), top, bottom};
}

function showTip(lane, item) {
    tipped = [lane, item];
    const [title, ...lines] = describe(item);
    tip.replaceChildren(element("b", "", title), ...lines.map((line) => element("div", "", line)));
    tip.hidden = false;
    const box = boxOf(lane, item);
    const width = document.documentElement.clientWidth; // without the scroll bar
    const middle = (Math.max(box.left, 0) + Math.min(box.right, width)) / 2;
    const left = Math.min(Math.max(8, middle - tip.offsetWidth / 2), width - tip.offsetWidth - 8);
    const above = box.top - tip.offsetHeight - 8;
    tip.style.left = `${left}px`;
    tip.style.top = `${above >= 4 ? above : box.bottom + 8}px`;
}

function hideTip() {
    tip.hidden = true;
}

// ---------------------------------------------------------------------------------------------------
// The mouse, or a finger

function laneAt(event) {
    const node = event.target.closest && event.target.closest(".lane");
    return node ? node.lane : null;
}

// What of a lane is at a place on the screen, or nearest to it within that many pixels.
function itemAt(lane, x, y, reach) {
    const found = {item: null, distance: reach};
    for (const item of lane.items) {
        const box = boxOf(lane, item);
        const distance = Math.max(0, box.left - x, x - box.right) + Math.max(0, box.top - y, y - box.bottom);
        // What lies within another, such as a bar in a stretch without data, is meant before that.
        if (distance < found.distance || distance === found.distance && item.members)
            Object.assign(found, {item, distance});
    }
    return found.item;
}

const isOnTrack = (event) => Boolean(event.target.closest(".track"));

function onPointer(event) {
    const lane = laneAt(event);
    const item = lane && isOnTrack(event) ? itemAt(lane, event.clientX, event.clientY, 1) : null;
    if (item)
        showTip(lane, item);
    else
        hideTip();
}

// A day's column goes to that day; a finger that misses a bar means the nearest.
function onTap(event) {
    const lane = laneAt(event);
    const item = lane && isOnTrack(event) ? itemAt(lane, event.clientX, event.clientY, REACH) : null;
    if (!item)
        return;
    goTo(lane, item);
    if (!item.heights)
        showTip(lane, item);
}

function goTo(lane, item) {
    if (item.heights)
        setPeriod(dayOf(item.start), dayOf(item.end - 1) - dayOf(item.start) + 1);
}

// ---------------------------------------------------------------------------------------------------
// The keyboard

// The item of the lane that can be reached with Tab. A column gets its node only now.
function setCurrent(lane, item) {
    const before = lane.current;
    if (before && before.node)
        before.node.tabIndex = -1;
    if (before && before.heights && before !== item) {
        before.node.remove();
        before.node = null;
    }
    lane.current = item;
    if (!item.node)
        addNode(lane, item, element("div", "column"));
    item.node.tabIndex = 0;
}

// The item of a lane that is nearest in time.
function nearest(lane, instant) {
    drawLane(lane);
    const distance = (item) => Math.abs(Math.max(item.start, state.start) - instant);
    return lane.items.reduce((best, item) => (distance(item) < distance(best) ? item : best));
}

// Where a key leads from an item: {lane, item}, or nothing.
function whereTo(key, lane, item) {
    const column = lane.items.indexOf(item);
    const to = (index) => ({lane, item: lane.items[index]});
    const across = (list) => {
        const next = list.find((one) => {
            drawLane(one);
            return one.items.length > 0;
        });
        return {lane: next, item: next && nearest(next, Math.max(item.start, state.start))};
    };
    const row = lanes.indexOf(lane);
    switch (key) {
    case "ArrowLeft": return to(column - 1);
    case "ArrowRight": return to(column + 1);
    case "Home": return to(0);
    case "End": return to(lane.items.length - 1);
    case "ArrowUp": return across(lanes.slice(0, row).reverse());
    case "ArrowDown": return across(lanes.slice(row + 1));
    default: return null;
    }
}

function focusOn(lane, item) {
    setCurrent(lane, item);
    item.node.focus();
}

function onKey(event) {
    const {item} = event.target;
    if (!item || event.ctrlKey || event.altKey || event.metaKey)
        return;
    const lane = laneAt(event);
    if (event.key === "Enter")
        goTo(lane, item);
    const target = whereTo(event.key, lane, item);
    if (!target)
        return;
    event.preventDefault();
    if (target.item)
        focusOn(target.lane, target.item);
}

// Draws the picture again, and gives the focus back to what had it.
function keepFocus(draw) {
    const lane = laneAt({target: document.activeElement});
    const item = document.activeElement.item;
    draw();
    const again = item && lanes.find((one) => one.id === lane.id && one.kind === lane.kind);
    if (!again || document.activeElement === item.node)
        return;
    drawLane(again);
    if (again.items.length)
        focusOn(again, nearest(again, Math.max(item.start, state.start)));
}

function listen() {
    lanesBox.addEventListener("mousemove", onPointer);
    lanesBox.addEventListener("mouseleave", hideTip);
    lanesBox.addEventListener("click", onTap);
    lanesBox.addEventListener("focusin", (event) => {
        const lane = laneAt(event);
        setCurrent(lane, event.target.item);
        showTip(lane, event.target.item);
    });
    lanesBox.addEventListener("focusout", hideTip);
    lanesBox.addEventListener("keydown", onKey);
    addEventListener("keydown", (event) => {
        if (event.key === "Escape")
            hideTip();
    });
    addEventListener("scroll", () => {
        if (!tip.hidden)
            showTip(...tipped);
    }, {passive: true});
}
