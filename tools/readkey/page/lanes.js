// The picture's lanes: one for each vehicle or driver. Each insertion is a bar; over a longer period, each day
// is a column that shows how much of it a card was in.

const BARS_AT_ONCE = 1500; // the lanes behind that are drawn when they come into view
const DAY_WIDTH = 14; // pixels; a narrower day is a column
const COLUMN_WIDTH = 2; // pixels at least; a column of narrower days is several
const LANE_HEIGHTS = {edge: 0.3, driver: 1.4, other: 0.75}; // rem

const lanesBox = byId("lanes");
let lanes = []; // from top to bottom
let columns = []; // the instants between the columns, first to last; empty if each insertion is a bar
let daysInColumn; // all but the last have as many
const seen = new IntersectionObserver((entries) => {
    for (const entry of entries) {
        if (entry.isIntersecting)
            drawLane(entry.target.lane);
    }
}, {rootMargin: "600px"});

const other = () => (state.lanes === "vehicle" ? "driver" : "vehicle");
const laneName = (lane) => (lane.kind === "vehicle" ? vehicles[lane.id].plate : drivers[lane.id].name);

// ---------------------------------------------------------------------------------------------------
// Bars

// Bars below a pixel that begin in the same pixel become one.
function merged(list) {
    const scale = trackWidth / (state.end - state.start);
    const pixel = (instant) => Math.floor((instant - state.start) * scale);
    const last = new Map(); // by slot: the two have bars of their own
    const bars = [];
    for (const insertion of list) {
        const narrow = (insertion.end - insertion.start) * scale < 1;
        const row = insertion.slot === 0 ? "driver" : "other";
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

// Gives each bar the first level of its slot that is free at its time, and returns how many there are.
function stack(bars) {
    const ends = {driver: [-Infinity], other: [-Infinity]};
    for (const bar of bars) {
        const levels = ends[bar.row];
        const free = levels.findIndex((end) => end <= bar.start);
        bar.level = free < 0 ? levels.length : free;
        levels[bar.level] = bar.end;
    }
    return {driver: ends.driver.length, other: ends.other.length};
}

// Whether two insertions of a lane are at the same time: of a vehicle in one slot, of a driver in two vehicles. An
// insertion without a withdrawal has no certain end, and one without a plate may be in any vehicle: they do not count.
function overlap(kind, list) {
    const ends = new Map(); // by slot or vehicle
    const sure = list.filter(({open, vehicle, start, end}) => !open && isOne(vehicles[vehicle].plate) && start < end);
    return sure.some(({slot, vehicle, start, end}) => {
        const own = kind === "vehicle" ? slot : vehicle;
        const isTwice = [...ends].some(([one, until]) => (one === own) === (kind === "vehicle") && start < until);
        ends.set(own, Math.max(ends.get(own) || 0, end));
        return isTwice;
    });
}

// Seconds by name, the longest first.
function times(members, kind, seconds) {
    const sums = new Map();
    for (const insertion of members)
        sums.set(insertion[kind], (sums.get(insertion[kind]) || 0) + seconds(insertion));
    return [...sums].sort((a, b) => b[1] - a[1]);
}

// The name, or else the last word of a driver's name, if it fits.
function shortened(name, width) {
    const choice = state.lanes === "vehicle" ? [name, searched(name).split(" ").pop()] : [name];
    return choice.find((text) => textWidth(text) <= width) || "";
}

function barNode(bar, levels) {
    const [insertion] = bar.members;
    const [[most]] = times(bar.members, other(), ({start, end}) => end - start);
    const node = element("div", `bar ${bar.row} c${colourOf[other()][most]}`);
    const width = visibleWidth(bar.start, bar.end);
    node.classList.toggle("open", insertion.open);
    node.classList.toggle("wide", width >= 6);
    node.style.top = `${LANE_HEIGHTS.edge + LANE_HEIGHTS[bar.row] * bar.level +
        (bar.row === "other" ? LANE_HEIGHTS.driver * levels.driver : 0)}rem`;
    if (bar.row === "driver" && width >= 20)
        node.append(element("span", "", shortened(nameOf[other()](insertion), width - 10)));
    return node;
}

function gapNode(item) {
    const node = element("div", `gap ${item.gap}`);
    const text = item.gap === "card" ? `${number(item.km)} km` : "no data";
    if (textWidth(text) + 36 < visibleWidth(item.start, item.end))
        node.append(element("span", "", text));
    return node;
}

// A node that can be pointed at and reached with keys.
function addNode(lane, item, node) {
    node.tabIndex = -1;
    node.setAttribute("role", "img");
    node.setAttribute("aria-label", describe(item).join(", "));
    node.item = item;
    item.node = node;
    lane.track.append(place(node, item.start, item.end));
}

function drawBars(lane) {
    const bars = merged(lane.list);
    const levels = stack(bars);
    lane.node.style.minHeight = `${LANE_HEIGHTS.edge + LANE_HEIGHTS.driver * levels.driver +
        LANE_HEIGHTS.other * levels.other + 0.15}rem`;
    lane.joined = bars.length < lane.list.length;
    if (lane.joined)
        byId("joined").hidden = false;
    for (const gap of lane.gaps)
        addNode(lane, gap, gapNode(gap));
    for (const bar of bars)
        addNode(lane, bar, barNode(bar, levels));
    lane.items = [...bars, ...lane.gaps].sort((a, b) => a.start - b.start);
}

// ---------------------------------------------------------------------------------------------------
// Days

// Calls back for each column that an item touches, with its seconds there.
function eachColumn(item, callback) {
    const start = Math.max(item.start, state.start);
    const end = Math.min(item.end, state.end);
    let column = Math.floor((dayOf(start) - state.firstDay) / daysInColumn);
    // What ended at the first midnight is not in the first day.
    if (item.start < start && start === end)
        return;
    do {
        callback(column, Math.min(end, columns[column + 1]) - Math.max(start, columns[column]));
    } while (columns[++column] < end);
}

// The columns in which something is known to have happened.
function dayItems(lane) {
    const items = new Map();
    const at = (column) => {
        if (!items.has(column)) {
            items.set(column, {
                column, lane, start: columns[column], end: columns[column + 1],
                members: [], gaps: [], heights: new Array(COLOURS).fill(0),
            });
        }
        return items.get(column);
    };
    for (const insertion of lane.list) {
        eachColumn(insertion, (column, seconds) => {
            const item = at(column);
            item.members.push(insertion);
            if (insertion.slot === 0 || lane.kind === "driver")
                item.heights[colourOf[other()][insertion[other()]]] += seconds / (item.end - item.start);
        });
    }
    for (const gap of lane.gaps.filter((item) => item.gap === "card"))
        eachColumn(gap, (column) => at(column).gaps.push(gap));
    return [...items.values()].sort((a, b) => a.column - b.column);
}

const svg = (tag, attributes) => {
    const node = document.createElementNS("http://www.w3.org/2000/svg", tag);
    Object.entries(attributes).forEach(([name, value]) => node.setAttribute(name, value));
    return node;
};

// The columns' parts of each colour are one path, stacked on those of the colours before.
function dayPicture(items) {
    const picture = svg("svg", {viewBox: `0 0 ${columns.length - 1} 1`, preserveAspectRatio: "none", class: "days"});
    const width = Math.max(0.5, 1 - (columns.length - 1) / trackWidth); // a pixel remains between two
    const paths = Array.from({length: COLOURS}, () => "");
    for (const item of items) {
        let top = 1;
        item.heights.forEach((height, colour) => {
            if (height > 0)
                paths[colour] += `M${item.column} ${top.toFixed(4)}h${width.toFixed(4)}` +
                    `V${(top -= height).toFixed(4)}h-${width.toFixed(4)}z`;
        });
    }
    paths.forEach((path, colour) => path && picture.append(svg("path", {d: path, class: `c${colour}`})));
    return picture;
}

function drawColumns(lane) {
    lane.items = dayItems(lane);
    for (const gap of lane.gaps)
        lane.track.append(place(gapNode(gap), gap.start, gap.end));
    lane.track.append(dayPicture(lane.items));
}

// ---------------------------------------------------------------------------------------------------
// Lanes

function drawLane(lane) {
    if (lane.drawn)
        return;
    lane.drawn = true;
    seen.unobserve(lane.node);
    if (columns.length)
        drawColumns(lane);
    else
        drawBars(lane);
    if (lane.items.length)
        setCurrent(lane, lane.items.find((item) => item.members) || lane.items[0]);
}

// What is known of a vehicle without an insertion in the period.
function emptyLabel(laneGaps) {
    const unknown = laneGaps.filter(({gap, end}) => gap === "data" && end > state.start);
    unknown.sort((a, b) => a.start - b.start);
    if (!unknown.length)
        return "no card inserted";
    const until = unknown.reduce((at, {start, end}) => (start <= at ? Math.max(at, end) : at), state.start);
    return until >= state.end ? "no data" : "no card inserted, partly no data";
}

function makeLane(kind, id, {list, gaps: laneGaps}) {
    const {driver, others, km} = totals(list);
    const count = new Set(list.map((insertion) => insertion[other()])).size;
    const all = kind === "vehicle" ? plural(count, "driver", "drivers") : plural(count, "vehicle", "vehicles");
    const track = element("div", "track");
    const node = element("div", "lane", element("div", "label"), track);
    const lane = {kind, id, list, gaps: laneGaps, node, track, items: [], drawn: false, current: null};
    const overlaps = !isOne(laneName(lane)) || !overlap(kind, list) ? [] :
        [kind === "vehicle" ? "two cards in one slot" : "in two places at once"];
    const label = [list.length === 0 ? emptyLabel(laneGaps) : cardIn({driver, others, km})];
    const said = list.length === 0 ? label : [all, `card in the driver's slot ${hours(driver)} h`,
        ...(others ? [`in others ${hours(others)} h`] : []), `${number(km)} km`];
    node.firstChild.append(element("b", "", laneName(lane)), ...label.map((text) => element("small", "", text)),
        ...overlaps.map((text) => element("small", "odd", text)));
    node.firstChild.title = `${laneName(lane)}: ${[...said, ...overlaps].join(", ")}`;
    node.setAttribute("role", "group");
    node.setAttribute("aria-label", node.firstChild.title);
    node.lane = lane;
    return lane;
}

const isSame = (a, b) => a.length === b.length && a.every((item, i) => item === b[i]);

// Lanes that stay as they were are kept, unless all are to be drawn again. A vehicle without any insertion has
// a lane too: it was parked, or nothing is known.
function makeLanes({list, gaps: shownGaps, vehicleShown}, all) {
    const kind = state.lanes;
    const members = (kind === "vehicle" ? vehicles : drivers).map(() => ({list: [], gaps: []}));
    for (const insertion of list)
        members[insertion[kind]].list.push(insertion);
    if (kind === "vehicle")
        shownGaps.forEach((gap) => members[gap.vehicle].gaps.push(gap));
    const old = new Map(all ? [] : lanes.map((lane) => [lane.id, lane]));
    const isShown = (member, id) => member.list.length > 0 ||
        kind === "vehicle" && countsGaps && !state.driver && vehicleShown[id];
    lanes = members.flatMap((member, id) => {
        if (!isShown(member, id))
            return [];
        const lane = old.get(id);
        return [lane && isSame(lane.list, member.list) && isSame(lane.gaps, member.gaps) ? lane :
            makeLane(kind, id, member)];
    });
}

function drawLanes() {
    seen.disconnect();
    byId("joined").hidden = !lanes.some((lane) => lane.joined);
    const nodes = [grid, ...lanes.map((lane) => lane.node)];
    if (!isSame(nodes, [...lanesBox.children]))
        lanesBox.replaceChildren(...nodes);
    let bars = 0;
    for (const lane of lanes) {
        if (bars < BARS_AT_ONCE)
            drawLane(lane);
        else if (!lane.drawn)
            seen.observe(lane.node);
        bars += lane.items.length;
    }
}

// The days of the period as columns, if they are too narrow for bars.
function layOutColumns() {
    columns = [];
    if (dayWidth() >= DAY_WIDTH)
        return;
    daysInColumn = Math.ceil(COLUMN_WIDTH / dayWidth());
    for (let day = state.firstDay; day < state.firstDay + state.days; day += daysInColumn)
        columns.push(midnight(day));
    columns.push(state.end);
}

addEventListener("beforeprint", () => lanes.forEach(drawLane));
