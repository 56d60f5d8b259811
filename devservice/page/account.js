// The account as a tree: folders, albums, items, and what friends share.
const kThumbnail = 40; // pixels
const kKeptThumbnails = 500;
const kFetchesAtOnce = 4;

// Small copies of the screen images, made when they come into sight. What has scrolled away before
// its turn is left out.
const thumbnails = {
  kept: new Map(), // from the item's id to an ImageBitmap, the last used one last
  waiting: [],
  running: 0,

  show(item) {
    const canvas = make("canvas", { width: kThumbnail, height: kThumbnail, className: "thumbnail" });
    canvas.setAttribute("aria-hidden", "true");
    if (this.kept.has(item.id)) {
      this.keep(item.id, this.kept.get(item.id));
      this.paint(canvas, this.kept.get(item.id));
    } else if (item.format.startsWith("image/")) {
      this.waiting.push({ canvas, item });
      queueMicrotask(() => this.next());
    }
    return canvas;
  },

  paint(canvas, bitmap) {
    canvas.getContext("2d").drawImage(bitmap, (kThumbnail - bitmap.width) / 2,
      (kThumbnail - bitmap.height) / 2);
    canvas.dataset.painted = "true";
  },

  async next() {
    while (this.running < kFetchesAtOnce && this.waiting.length > 0) {
      const { canvas, item } = this.waiting.shift();
      if (!canvas.isConnected) continue;
      ++this.running;
      try {
        this.keep(item.id, this.kept.get(item.id) ?? await this.load(item.id));
        this.paint(canvas, this.kept.get(item.id));
      } catch {
        canvas.dataset.painted = "false"; // not a picture, whatever its name says
      }
      --this.running;
    }
  },

  async load(id) {
    const whole = await createImageBitmap(await screenImage(id));
    const scale = kThumbnail / Math.max(whole.width, whole.height);
    const small = await createImageBitmap(whole, {
      resizeWidth: Math.max(1, Math.round(whole.width * scale)),
      resizeHeight: Math.max(1, Math.round(whole.height * scale)),
      resizeQuality: "medium",
    });
    whole.close();
    return small;
  },

  keep(id, bitmap) {
    this.kept.delete(id);
    this.kept.set(id, bitmap);
    if (this.kept.size <= kKeptThumbnails) return;
    const [oldest, old] = this.kept.entries().next().value;
    this.kept.delete(oldest);
    old.close();
  },
};

const screenImage = async (id) => (await call("GET", `screen/${id}`)).blob();

const stars = (rating) => "★".repeat(rating) + "☆".repeat(5 - rating);

const account = {
  data: null,
  items: new Map(), // by id
  albums: new Map(),
  folded: new Set(), // keys of folders and albums

  start() {
    this.list = new WindowedList($("account"), {
      rowHeight: 48,
      draw: (row) => this.drawRow(row),
      keyOf: (row) => row.key,
      open: (row) => (row.item ? this.openItem(row.item) : this.fold(row, this.folded.has(row.key))),
      fold: (row, unfold) => this.fold(row, unfold),
    });
    $("unfold").addEventListener("click", () => this.foldAll(false));
    $("fold").addEventListener("click", () => this.foldAll(true));
  },

  set(data) {
    this.data = data;
    this.items = new Map(data.items.map((item) => [item.id, item]));
    this.albums = new Map([...data.albums, ...data.friendAlbums].map((album) => [album.id, album]));
    this.parents = [];
    const { used, quota, items } = data.storage;
    this.offer(data.accounts, data.id);
    $("storage").max = quota;
    $("storage").value = used;
    $("storage-text").textContent =
      `${sizeText(used)} of ${sizeText(quota)}, ${counted(items, "item")}`;
    this.show();
  },

  // All accounts to choose from. A list that may be open is left alone.
  offer(accounts, shown) {
    const options = accounts.map(({ id, address }) =>
      make("option", { value: id, textContent: address }));
    const same = options.map((each) => each.outerHTML).join() ===
      [...$("address").options].map((each) => each.outerHTML).join();
    if (!same) $("address").replaceChildren(...options);
    $("address").value = shown;
  },

  show() {
    this.list.setRows(this.rowsOf());
  },

  rowsOf() {
    const rows = [];
    const { folders, albums, friendAlbums } = this.data;
    this.parents.length = 0;
    const container = (row, fill) => {
      rows.push(row);
      this.parents.push(row.key);
      if (!this.folded.has(row.key)) fill();
    };
    const addAlbum = (album, level, name) =>
      container({ key: album.id, level, name, album, folds: true }, () => {
        for (const id of album.items)
          rows.push({ key: `${album.id} ${id}`, level: level + 1, item: this.items.get(id) });
      });
    for (const album of albums.filter((each) => each.root)) addAlbum(album, 1, "Not in any album");
    for (const folder of folders) {
      container({ key: folder.id, level: 1, name: folder.name, folder, folds: true }, () => {
        for (const id of folder.albums) addAlbum(this.albums.get(id), 2, this.albums.get(id).name);
      });
    }
    for (const album of albums)
      if (!album.root && !album.folder) addAlbum(album, 1, album.name);
    for (const album of friendAlbums) addAlbum(album, 1, album.name);
    return rows;
  },

  fold(row, unfold) {
    if (!row.folds) return;
    if (unfold) this.folded.delete(row.key);
    else this.folded.add(row.key);
    this.show();
  },

  foldAll(folding) {
    this.folded.clear();
    if (folding) for (const row of this.rowsOf()) if (row.folds) this.folded.add(row.key);
    this.show();
  },

  drawRow(row) {
    const element = make("div", { role: "treeitem" });
    element.ariaLevel = row.level;
    element.classList.add(`level-${row.level}`);
    if (row.item) {
      element.append(...this.itemCells(row.item));
      return element;
    }
    const open = !this.folded.has(row.key);
    element.ariaExpanded = open;
    element.append(make("span", { className: "mark", "aria-hidden": "true",
      textContent: open ? "▾" : "▸" }));
    element.append(make("strong", { textContent: row.name, className: "name" }));
    element.append(make("span", { className: "quiet", textContent: this.about(row) }));
    return element;
  },

  about({ folder, album }) {
    if (folder) return `folder, ${counted(folder.albums.length, "album")}`;
    const parts = [counted(album.items.length, "item")];
    if (album.owner) parts.push(`shared by ${album.owner}`);
    else if (album.shared) parts.push(`shared with ${album.sharedWith.join(", ")}`);
    return parts.join(", ");
  },

  itemCells(item) {
    const words = make("span", { className: "words" },
      make("span", { className: "name", textContent: item.name }),
      make("span", { className: "quiet", textContent: item.caption }));
    const cells = [thumbnails.show(item), words];
    for (const tag of item.tags) cells.push(make("span", { className: "tag", textContent: tag }));
    if (item.rating > 0)
      cells.push(make("span", { className: "stars", role: "img", textContent: stars(item.rating),
        "aria-label": `rated ${item.rating} of 5` }));
    cells.push(make("span", { className: "quiet end", textContent: sizeText(item.size) }));
    return cells;
  },

  async openItem(item) {
    const picture = make("img", { className: "picture", alt: `The picture ${item.name}` });
    const where = [...this.albums.values()].filter((album) => album.items.includes(item.id));
    const content = [fields([
      ["Id", item.id],
      ["Albums", where.map((album) => album.name || "Not in any album").join(", ")],
      ["Kind", item.format],
      ["Size", `${item.size} bytes`],
      ["Caption", item.caption],
      ["Rating", item.rating > 0 ? `${item.rating} of 5` : ""],
      ["Tags", item.tags.join(", ")],
      ["Shot", item.shotDate],
      ["Uploaded", item.uploadDate],
      ["File created", item.createDate],
      ["File modified", item.modifyDate],
    ]), picture];
    let url = null;
    let closed = false;
    openWindow(item.name, content, [], () => {
      closed = true;
      if (url) URL.revokeObjectURL(url);
    });
    if (!item.format.startsWith("image/")) return picture.remove();
    try {
      const blob = await screenImage(item.id);
      if (closed) return;
      picture.src = url = URL.createObjectURL(blob);
      await picture.decode();
    } catch (error) {
      picture.replaceWith(make("p", { textContent: `No picture: ${error.message}` }));
    }
  },
};
