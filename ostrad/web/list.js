'use strict';

// A list of any length, of which only the lines near the visible part are in the document and only
// the pages that hold them are asked for. It is a grid for assistive technology (aria-rowcount,
// aria-rowindex), one stop for the Tab key, and the arrow keys, Home, End, Page Up and Page Down move
// within it. The line with the focus stays in the document however far away it is scrolled.
//
// The scroller is the element that scrolls. Every line is as high as the probe, an invisible one, and
// has as many columns as the style sheet gives to that.
class LongList {
  static pageSize = 100;
  static keptPages = 30;
  static pause = 2000; // milliseconds after a page that could not be had
  // Browsers cut off what is much higher; beyond this the scroll bar stands for more than its pixels.
  static highest = 8e6;

  // fetchPage(offset, limit) resolves to {body, total}, first is its answer for the beginning.
  // drawItem(entity, index) makes an element that takes the focus, also while there is no entity yet.
  constructor({ scroller, label, look, first, fetchPage, drawItem, onTotal = () => {} }) {
    Object.assign(this, { scroller, fetchPage, drawItem, onTotal });
    this.total = first.total;
    this.pages = new Map([[0, first.body]]);
    this.stale = new Set();
    this.changes = 0;
    this.lines = new Map(); // by number: the element in the document
    this.active = 0; // the item that the Tab key comes to
    this.columns = 1;
    this.pitch = 0; // from one line to the next
    this.look = look.line;
    this.probe = LongList.make('div', { class: `line probe ${this.look}` }, LongList.make('div', {}, drawItem(undefined, 0)));
    this.sizer = LongList.make('div', { class: 'sizer', role: 'presentation' }, this.probe);
    this.element = LongList.make('div', { class: `long ${look.list}`, role: 'grid', 'aria-label': label }, this.sizer);
    this.onScroll = () => { if (!this.frame) this.frame = requestAnimationFrame(() => this.render()); };
    this.element.addEventListener('keydown', event => this.onKey(event));
    this.element.addEventListener('focusin', event => this.onFocus(event));
    this.scroller.addEventListener('scroll', this.onScroll, { passive: true });
    this.observer = new ResizeObserver(() => this.layOut());
    this.observer.observe(this.scroller);
    this.observer.observe(this.sizer);
  }

  static make(tag, attributes, ...children) {
    const node = document.createElement(tag);
    for (const [name, value] of Object.entries(attributes)) node.setAttribute(name, value);
    node.append(...children);
    return node;
  }

  close() {
    this.closed = true;
    cancelAnimationFrame(this.frame);
    clearTimeout(this.again);
    this.observer.disconnect();
    this.scroller.removeEventListener('scroll', this.onScroll);
  }

  // ---------------------------------------------------------------- items and their pages

  item(index) {
    const page = this.pages.get(Math.floor(index / LongList.pageSize));
    return page && page[index % LongList.pageSize];
  }

  // As many as the server gives at once, around the one at the index.
  async around(index) {
    const from = Math.max(0, index - LongList.pageSize);
    return (await this.fetchPage(from, 5 * LongList.pageSize)).body;
  }

  // Something has changed: what is visible is asked for anew and stays until it is there.
  async refresh() {
    ++this.changes;
    this.stale = new Set(this.pages.keys());
    await this.fill();
  }

  // One page after the other, so that flying over a long list asks for little of it.
  async fill() {
    if (this.filling) return;
    this.filling = true;
    try {
      for (let page = this.nextPage(); page !== null && !this.closed; page = this.nextPage()) {
        const { changes } = this;
        const { body, total } = await this.fetchPage(page * LongList.pageSize, LongList.pageSize);
        if (changes === this.changes) this.stale.delete(page); // else it may be from before
        this.take(page, body, total);
      }
    } catch {
      // The page says when the server is away.
      if (!this.closed) this.again = setTimeout(() => this.fill(), LongList.pause);
    } finally {
      this.filling = false;
    }
  }

  // The first one that is needed; none of those that are not near the visible part.
  nextPage() {
    const last = Math.max(0, Math.min(this.total, (this.shownTo + 1) * this.columns) - 1);
    const from = Math.floor(Math.max(0, this.shownFrom * this.columns) / LongList.pageSize);
    for (let page = from; page <= Math.floor(last / LongList.pageSize); ++page) {
      if (!this.pages.has(page) || this.stale.has(page)) return page;
    }
    return null;
  }

  take(page, body, total) {
    const focused = this.focusedItem();
    this.pages.set(page, body);
    const far = [...this.pages.keys()].sort((a, b) => Math.abs(b - page) - Math.abs(a - page));
    for (const old of far.slice(0, Math.max(0, far.length - LongList.keptPages))) {
      this.pages.delete(old);
      this.stale.delete(old);
    }
    if (total !== this.total) {
      this.total = total;
      this.onTotal(total);
    }
    // An item that has moved within the page keeps the focus.
    if (focused) {
      const moved = body.findIndex(one => one.id === focused.id);
      if (moved >= 0) this.active = page * LongList.pageSize + moved;
    }
    this.active = Math.max(0, Math.min(this.active, this.total - 1));
    const first = Math.floor(page * LongList.pageSize / this.columns);
    const last = Math.floor(((page + 1) * LongList.pageSize - 1) / this.columns);
    for (const [number, line] of this.lines) if (number >= first && number <= last) line.dataset.old = '';
    this.layOut();
  }

  // ---------------------------------------------------------------- places

  get lineCount() { return Math.ceil(this.total / this.columns); }
  get height() { return this.lineCount * this.pitch; }

  // How far the upper edge of the screen is from that of the list: in pixels, and in the list's own,
  // which are more where the whole would be higher than an element can be.
  get scrolled() { return this.scroller.getBoundingClientRect().top - this.sizer.getBoundingClientRect().top; }
  get position() { return LongList.convert(this.scrolled, this.way(Math.min(this.height, LongList.highest)), this.way(this.height)); }

  goTo(position) {
    this.scroller.scrollTop += LongList.convert(position, this.way(this.height), this.way(Math.min(this.height, LongList.highest))) - this.scrolled;
  }

  // From where its beginning is at the upper edge to where its end is at the lower one.
  way(height) { return Math.max(0, height - this.scroller.clientHeight); }

  // Before and behind that way pixels are pixels.
  static convert(position, from, to) {
    if (position <= 0) return position;
    return position < from ? position * to / from : position - from + to;
  }

  layOut() {
    if (this.closed || !this.element.isConnected) return;
    const keep = this.pitch && this.position > 0 ? Math.floor(this.position / this.pitch) * this.columns : null;
    const style = getComputedStyle(this.probe);
    const columns = this.look.includes('grid') ? style.gridTemplateColumns.split(' ').length : 1;
    // Whole pixels: far down a long page its rectangle has lost some of its precision.
    const pitch = this.probe.offsetHeight;
    if (pitch <= 0) return;
    const changed = columns !== this.columns || pitch !== this.pitch;
    Object.assign(this, { columns, pitch });
    this.element.setAttribute('aria-rowcount', this.lineCount);
    this.element.setAttribute('aria-colcount', columns);
    this.sizer.style.height = `${Math.min(this.height, LongList.highest)}px`;
    if (changed) {
      for (const line of this.lines.values()) line.dataset.old = '';
      if (keep !== null) this.goTo(Math.floor(keep / columns) * pitch);
    }
    this.render();
  }

  // ---------------------------------------------------------------- the lines in the document

  render() {
    this.frame = 0;
    if (this.closed || !this.pitch || !this.element.isConnected) return;
    const view = this.scroller.clientHeight;
    const { position } = this;
    const shift = Math.max(0, this.scrolled) - Math.max(0, position);
    const spare = Math.ceil(view / 2 / this.pitch);
    const lastLine = this.lineCount - 1;
    const seen = [Math.max(0, Math.ceil(position / this.pitch)), Math.min(lastLine, Math.floor((position + view) / this.pitch) - 1)];
    this.shownFrom = Math.min(Math.max(0, Math.floor(position / this.pitch) - spare), Math.max(0, lastLine));
    this.shownTo = Math.min(lastLine, Math.floor((position + view) / this.pitch) + spare);
    const hasFocus = this.element.contains(document.activeElement);
    const activeLine = () => Math.floor(this.active / this.columns);
    // Who comes by Tab comes to what is on the screen.
    if (!hasFocus && (activeLine() < seen[0] || activeLine() > seen[1])) this.active = Math.min(this.total - 1, Math.max(0, seen[0]) * this.columns);

    const wanted = new Set();
    for (let number = this.shownFrom; number <= this.shownTo; ++number) wanted.add(number);
    if (hasFocus && activeLine() <= lastLine) wanted.add(activeLine());
    for (const [number, line] of this.lines) {
      if (wanted.has(number)) continue;
      line.remove();
      this.lines.delete(number);
    }
    let after = this.probe;
    for (const number of [...wanted].sort((a, b) => a - b)) {
      let line = this.lines.get(number);
      if (!line) {
        line = LongList.make('div', { class: `line ${this.look}`, role: 'row', 'aria-rowindex': number + 1 });
        line.dataset.old = '';
        this.lines.set(number, line);
      }
      if (after.nextSibling !== line) after.after(line);
      if ('old' in line.dataset) this.drawLine(line, number);
      line.style.transform = `translateY(${number * this.pitch + shift}px)`;
      after = line;
    }
    for (const node of this.sizer.querySelectorAll('[data-index]')) node.tabIndex = Number(node.dataset.index) === this.active ? 0 : -1;
    if (hasFocus && !this.element.contains(document.activeElement)) this.nodeOf(this.active)?.focus({ preventScroll: true });
    this.fill();
  }

  // Cells whose item is what it was stay as they are.
  drawLine(line, number) {
    delete line.dataset.old;
    for (let column = 0; column < this.columns; ++column) {
      const index = number * this.columns + column;
      if (index >= this.total) break;
      const entity = this.item(index);
      const drawn = JSON.stringify([index, entity]);
      const old = line.children[column];
      if (old && old.drawn === drawn) continue;
      const node = this.drawItem(entity, index);
      node.dataset.index = index;
      const cell = LongList.make('div', { role: 'gridcell', 'aria-colindex': column + 1 }, node);
      cell.drawn = drawn;
      if (old) old.replaceWith(cell); else line.append(cell);
    }
    const count = Math.min(this.columns, this.total - number * this.columns);
    while (line.children.length > count) line.lastChild.remove();
  }

  // ---------------------------------------------------------------- the keyboard

  nodeOf(index) { return this.sizer.querySelector(`[data-index="${index}"]`); }

  focusedItem() {
    return this.element.contains(document.activeElement) ? this.item(this.active) : null;
  }

  onFocus(event) {
    const node = event.target.closest('[data-index]');
    if (!node) return;
    this.active = Number(node.dataset.index);
    for (const other of this.sizer.querySelectorAll('[tabindex="0"]')) other.tabIndex = -1;
    node.tabIndex = 0;
  }

  // Brings an item into view and gives it the focus.
  focus(index) {
    if (!this.total || !this.pitch) return;
    this.active = Math.max(0, Math.min(this.total - 1, index));
    const top = Math.floor(this.active / this.columns) * this.pitch;
    const view = this.scroller.clientHeight;
    const margin = Math.min(20, (view - this.pitch) / 2);
    if (top - margin < this.position) this.goTo(top - margin);
    else if (top + this.pitch + margin > this.position + view) this.goTo(top + this.pitch + margin - view);
    // While it still has the focus the old line stays; then the new one has it.
    this.render();
    this.nodeOf(this.active)?.focus({ preventScroll: true });
    this.render();
  }

  onKey(event) {
    if (event.ctrlKey || event.altKey || event.metaKey || event.shiftKey || event.defaultPrevented) return;
    const screen = Math.max(1, Math.floor(this.scroller.clientHeight / this.pitch) - 1) * this.columns;
    const last = this.total - 1;
    // In a column of one, left and right are the player's.
    const beside = this.columns > 1 ? { ArrowLeft: -1, ArrowRight: 1 } : {};
    const steps = { ArrowUp: -this.columns, ArrowDown: this.columns, PageUp: -screen, PageDown: screen, Home: -last, End: last, ...beside };
    const step = steps[event.key];
    if (step === undefined) return;
    event.preventDefault();
    const wanted = this.active + step;
    // An arrow from the first line stays where it is; from the last full one it goes to the end.
    if (wanted < 0 && event.key === 'ArrowUp') return;
    this.focus(wanted);
  }
}
