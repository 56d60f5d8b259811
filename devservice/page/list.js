// A list of any length of which only the rows in sight stand in the document.
const kSpare = 6; // rows drawn beyond each edge

class WindowedList {
  // `box` is the element that scrolls and takes the keys. `rowHeight` is in pixels. `draw(row)`
  // makes the element of a row, `keyOf(row)` tells rows apart, `open(row)` is what Enter and a click
  // do; `fold(row, unfold)`, where given, is what the arrows left and right do. With `follow` a list
  // that stands at its end stays at the end when rows are added.
  constructor(box, { rowHeight, draw, keyOf, open, fold, follow }) {
    Object.assign(this, { box, rowHeight, drawRow: draw, keyOf, open, fold, follow });
    this.rows = [];
    this.drawn = new Map(); // from the index to {row, element}
    this.active = -1;
    this.space = make("div", { className: "space", role: "presentation" });
    box.append(this.space);
    box.addEventListener("scroll", () => this.draw());
    box.addEventListener("keydown", (event) => this.onKey(event));
    box.addEventListener("click", (event) => this.onClick(event));
    box.addEventListener("focus", () => this.enter());
    new ResizeObserver(() => this.draw()).observe(box);
  }

  // What is in sight, and the active row, stay where they are if they are still there.
  setRows(rows) {
    const top = Math.floor(this.box.scrollTop / this.rowHeight);
    const offset = this.box.scrollTop - top * this.rowHeight;
    const atEnd = this.follow && this.isAtEnd();
    const anchor = this.rows[top] && this.keyOf(this.rows[top]);
    const active = this.rows[this.active] && this.keyOf(this.rows[this.active]);
    this.rows = rows;
    this.active = this.indexOf(active, this.active);
    this.space.style.height = `${rows.length * this.rowHeight}px`;
    const place = this.indexOf(anchor, top);
    if (atEnd) this.scrollToEnd();
    else if (place !== top) this.box.scrollTop = place * this.rowHeight + offset;
    this.draw();
  }

  indexOf(key, otherwise) {
    if (key === undefined) return -1;
    // Mostly the place is the same, so the search begins there.
    if (this.rows[otherwise] && this.keyOf(this.rows[otherwise]) === key) return otherwise;
    const index = this.rows.findIndex((row) => this.keyOf(row) === key);
    return index >= 0 ? index : Math.min(otherwise, this.rows.length - 1);
  }

  isAtEnd() {
    const { scrollTop, clientHeight, scrollHeight } = this.box;
    return scrollTop + clientHeight >= scrollHeight - this.rowHeight;
  }

  scrollToEnd() {
    this.box.scrollTop = this.box.scrollHeight;
  }

  draw() {
    const height = this.box.clientHeight;
    const first = Math.max(0, Math.floor(this.box.scrollTop / this.rowHeight) - kSpare);
    const end = height === 0 ? first
      : Math.min(this.rows.length, first + Math.ceil(height / this.rowHeight) + 2 * kSpare);
    for (const [index, { row, element }] of this.drawn) {
      if (index >= first && index < end && this.rows[index] === row) continue;
      element.remove();
      this.drawn.delete(index);
    }
    let before = null;
    for (let index = first; index < end; ++index) {
      if (!this.drawn.has(index)) this.drawAt(index, before);
      before = this.drawn.get(index).element;
    }
    this.markActive();
  }

  // In their order, as whoever listens to the page goes by it.
  drawAt(index, before) {
    const row = this.rows[index];
    const element = this.drawRow(row);
    element.id = `${this.box.id}-row-${index}`;
    element.dataset.index = index;
    element.classList.add("row");
    element.ariaSetSize = this.rows.length;
    element.ariaPosInSet = index + 1;
    element.style.height = `${this.rowHeight}px`;
    element.style.transform = `translateY(${index * this.rowHeight}px)`;
    if (before) before.after(element);
    else this.space.prepend(element);
    this.drawn.set(index, { row, element });
  }

  markActive() {
    for (const [index, { element }] of this.drawn)
      element.setAttribute("aria-selected", index === this.active);
    if (this.drawn.has(this.active))
      this.box.setAttribute("aria-activedescendant", `${this.box.id}-row-${this.active}`);
    else this.box.removeAttribute("aria-activedescendant");
  }

  // Never scrolls: the click that brought the focus is on its way to a row.
  enter() {
    if (this.active < 0) this.active = Math.min(Math.ceil(this.box.scrollTop / this.rowHeight),
      this.rows.length - 1);
    this.markActive();
  }

  activate(index) {
    this.active = Math.max(-1, Math.min(index, this.rows.length - 1));
    if (this.active < 0) return;
    const top = this.active * this.rowHeight;
    const bottom = top + this.rowHeight - this.box.clientHeight;
    if (this.box.scrollTop > top) this.box.scrollTop = top;
    if (this.box.scrollTop < bottom) this.box.scrollTop = bottom;
    this.draw();
  }

  onKey(event) {
    if (event.ctrlKey || event.altKey || event.metaKey || event.target !== this.box) return;
    const page = Math.max(1, Math.floor(this.box.clientHeight / this.rowHeight) - 1);
    const steps = { ArrowUp: -1, ArrowDown: 1, PageUp: -page, PageDown: page };
    const row = this.rows[this.active];
    if (event.key in steps) this.activate(Math.max(0, this.active + steps[event.key]));
    else if (event.key === "Home") this.activate(0);
    else if (event.key === "End") this.activate(this.rows.length - 1);
    else if ((event.key === "Enter" || event.key === " ") && row) this.open(row);
    else if (event.key === "ArrowLeft" && row && this.fold) this.fold(row, false);
    else if (event.key === "ArrowRight" && row && this.fold) this.fold(row, true);
    else return;
    event.preventDefault();
  }

  onClick(event) {
    const element = event.target.closest(".row");
    if (!element) return;
    this.activate(Number(element.dataset.index));
    this.open(this.rows[this.active]);
  }
}
