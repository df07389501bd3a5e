// Tables: sorted by a click on a heading, and shown in portions. Those that readkey wrote are taken over; the
// insertions get their rows here.

const ROWS_AT_FIRST = 100; // its button shows more
const ROWS_MORE = 250;
const ROWS_ON_PAPER = 5000; // of the insertions
const collator = new Intl.Collator("en", {numeric: true});

// The largest number in the lines of a cell, without that of a card that another replaced; what never happened comes
// last.
function numberIn(text) {
    const lines = text.split("\n").filter((line) => !line.endsWith("not counted"));
    return Math.max(...lines.map(numberInLine));
}

function numberInLine(text) {
    const found = text.replace(/\u202f/g, "").match(/(\d+)(?::(\d\d))?/);
    if (found)
        return Number(found[1]) + Number(found[2] || 0) / 60;
    return text.includes("never") ? Infinity : -1;
}

class Table {
    // `keys` has a function for each column, which gives a row's text or number to sort by; `makeRow` gives
    // its node.
    constructor(section, all, keys, makeRow) {
        this.all = all;
        this.keys = keys;
        this.makeRow = makeRow;
        this.ranks = []; // by column: a number for each row
        this.sorting = null; // {column, sign}
        this.details = section.querySelector("details");
        this.scroller = section.querySelector(".scroller");
        this.body = section.querySelector("tbody");
        this.headings = [...section.querySelectorAll("thead th")];
        this.headings.forEach((cell, column) => {
            const title = [...cell.childNodes];
            cell.replaceChildren(button("", () => this.sortBy(column)));
            cell.firstChild.append(...title);
        });
        this.text = element("span");
        this.moreButton = button("", () => this.more(ROWS_MORE));
        this.footer = element("p", "note", this.text, this.moreButton);
        this.details.append(this.footer);
        this.details.addEventListener("toggle", () => this.fill());
    }

    sortBy(column) {
        const cell = this.headings[column];
        const sign = cell.getAttribute("aria-sort") === "ascending" ? -1 : 1;
        this.headings.forEach((heading) => heading.removeAttribute("aria-sort"));
        cell.setAttribute("aria-sort", sign > 0 ? "ascending" : "descending");
        this.sorting = {column, sign};
        this.show(this.rows);
    }

    // Computed once: texts are compared as a reader would order them, which takes long.
    rank(column) {
        if (!this.ranks[column]) {
            const keys = this.all.map(this.keys[column]);
            const texts = [...new Set(keys.filter((key) => typeof key === "string"))].sort(collator.compare);
            const places = new Map(texts.map((text, index) => [text, index]));
            this.ranks[column] = new Map(this.all.map((row, i) =>
                [row, typeof keys[i] === "string" ? places.get(keys[i]) : keys[i]]));
        }
        return this.ranks[column];
    }

    // The rows may be fewer than all.
    show(shown) {
        this.rows = shown;
        this.isStale = true;
        this.fill();
    }

    // A closed table costs nothing.
    fill() {
        if (!this.isStale || !this.details.open)
            return;
        this.isStale = false;
        this.sorted = this.rows;
        if (this.sorting) {
            const {column, sign} = this.sorting;
            const rank = this.rank(column);
            this.sorted = [...this.rows].sort((a, b) => (rank.get(a) - rank.get(b) || 0) * sign);
        }
        this.body.replaceChildren();
        this.more(ROWS_AT_FIRST);
    }

    more(count) {
        const from = this.body.rows.length;
        const hadFocus = document.activeElement === this.moreButton;
        this.body.append(...this.sorted.slice(from, from + count).map(this.makeRow));
        const left = this.sorted.length - this.body.rows.length;
        this.text.textContent = this.sorted.length === 0 ? "None." :
            `${number(this.body.rows.length)} of ${number(this.sorted.length)} lines are shown. `;
        this.moreButton.textContent = `Show ${number(Math.min(ROWS_MORE, left))} more`;
        this.moreButton.hidden = left === 0;
        this.footer.hidden = left === 0 && this.sorted.length > 0;
        if (hadFocus && left === 0)
            this.scroller.focus();
    }

    // For paper: everything, open.
    unfold() {
        this.wasOpen = this.details.open;
        this.details.open = true;
        this.fill();
        this.more(Infinity);
    }

    fold() {
        this.details.open = this.wasOpen;
        this.show(this.rows);
    }
}

// A table that has its rows already.
function takeOver(section) {
    const all = [...section.querySelectorAll("tbody tr")];
    const keys = [...section.querySelectorAll("thead th")].map((cell, column) => {
        const text = (row) => row.cells[column].textContent;
        return cell.classList.contains("number") ? (row) => numberIn(text(row)) : text;
    });
    const table = new Table(section, all, keys, (row) => row);
    table.show(all);
    return table;
}

// A name with the colour of its bars; a click shows only its bars.
function addChips(kind) {
    const items = kind === "vehicle" ? vehicles : drivers;
    tableRows(`${kind}s`).forEach((row, index) => {
        const name = kind === "vehicle" ? items[index].plate : items[index].name;
        const chip = button(name, () => chooseOnly(kind, name, index), "chip");
        chip.title = `Show only ${name}`;
        const swatch = element("span", `swatch of-${kind} c${colourOf[kind][index]}`);
        row.cells[0].replaceChildren(swatch, chip);
    });
}

function insertionRow(insertion) {
    const cells = [nameOf.driver(insertion), slotName(insertion.slot), dateAndTime(insertion.start),
        orDash(insertion.withdrawn, dateAndTime)].map((text) => element("td", "", text));
    const numbers = [orDash(insertion.seconds, hours), orDash(insertion.kmIn, number),
        orDash(insertion.kmOut, number), orDash(insertion.km, number)].map((text) => element("td", "number", text));
    const heading = element("th", "", nameOf.vehicle(insertion));
    heading.scope = "row";
    return element("tr", "", heading, ...cells, ...numbers);
}

const orLeast = (value) => (value === null ? -1 : value);

function makeTables() {
    addChips("vehicle");
    addChips("driver");
    const taken = [...document.querySelectorAll("section.taken")].map(takeOver);
    const table = new Table(byId("insertions"), insertions, [
        nameOf.vehicle, nameOf.driver, (i) => i.slot, (i) => i.start, (i) => (i.open ? Infinity : i.withdrawn),
        (i) => orLeast(i.seconds), (i) => orLeast(i.kmIn), (i) => orLeast(i.kmOut), (i) => orLeast(i.km),
    ], insertionRow);
    table.details.open = insertions.length <= 20;
    addEventListener("beforeprint", () => {
        taken.forEach((one) => one.unfold());
        const tooMany = table.rows.length > ROWS_ON_PAPER;
        byId("too-many").hidden = !tooMany;
        byId("insertions").classList.toggle("screen", tooMany);
        if (!tooMany)
            table.unfold();
    });
    addEventListener("afterprint", () => {
        taken.forEach((one) => one.fold());
        if (byId("too-many").hidden)
            table.fold();
        byId("too-many").hidden = true;
        byId("insertions").classList.remove("screen");
    });
    return table;
}
