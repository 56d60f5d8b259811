// The panel of faults: switches them on and off, and lists the requests that met one.
const kMethods = ["*", "OpenSession", "CloseSession", "GetUserArchiveInfo", "GetHierarchy",
  "GetForeignAlbumItems", "GetItemsInfo", "GetStorageCapacity", "ModifyProps", "AddTags", "AddAlbum",
  "AddFolder", "AddItemsToAlbum", "VerifyRecipients", "GetAddressList", "ShareAlbum",
  "CheckUploadItems", "NegotiateUploadItems", "UploadItems", "Download"];

// Kind, what it does, and what its value is; without the last it takes none.
const kFaultKinds = [
  ["status", "answer with an HTTP status", "503"],
  ["error", "answer with a service error", "301"],
  ["full", "storage full"],
  ["garbage", "answer with garbage"],
  ["silence", "never answer"],
  ["reset", "reset the connection"],
  ["expire", "expire the session tokens"],
  ["delay", "wait before the answer, ms", "2000"],
  ["cut", "cut the answer after bytes", "0"],
  ["length", "announce bytes too many", "1"],
  ["slow", "slow, bytes a second", "10000"],
];

const faults = {
  shown: "",
  fires: 0,

  start() {
    this.list = new WindowedList($("fires"), { ...requestRows, draw: (request) =>
      drawCells(request, "request fire", [faultOf(request), resultText(request, "")]) });
    for (const name of kMethods)
      $("fault-method").append(make("option", { value: name, textContent: name === "*" ? "any" : name }));
    for (const [kind, what] of kFaultKinds)
      $("fault-kind").append(make("option", { value: kind, textContent: what }));
    $("fault-kind").addEventListener("change", () => this.suggestValue());
    $("fault-form").addEventListener("submit", (event) => {
      event.preventDefault();
      this.add();
    });
    this.suggestValue();
  },

  suggestValue() {
    const value = kFaultKinds.find(([kind]) => kind === $("fault-kind").value)[2];
    $("fault-value").disabled = value === undefined;
    $("fault-value").value = value ?? "";
  },

  add() {
    const value = $("fault-value").value.trim();
    const times = $("fault-times").value.trim();
    this.change({ add: `${$("fault-method").value}:${$("fault-kind").value}` +
      (value && `=${value}`) + (times && `,times=${times}`) });
  },

  async change(wish) {
    try {
      this.showActive((await callJson("POST", "faults", wish)).faults);
      $("fault-error").textContent = "";
    } catch (error) {
      let words = error.message;
      try {
        words = JSON.parse(words).error.message;
      } catch { /* it came as words */ }
      $("fault-error").textContent = words;
    }
  },

  set(active, all) {
    this.showActive(active);
    const fires = all.filter((request) => request.fault);
    if (fires.length !== this.list.rows.length || fires.at(-1) !== this.list.rows.at(-1))
      this.list.setRows(fires);
  },

  // The buttons stay the same elements while nothing changes, so that they keep the focus.
  showActive(active) {
    const text = JSON.stringify(active);
    if (text === this.shown) return;
    this.shown = text;
    const focused = document.activeElement?.dataset?.fault;
    $("faults").replaceChildren(...active.map((fault) => this.drawActive(fault)));
    if (focused) $("faults").querySelector(`[data-fault="${Number(focused)}"]`)?.focus();
    const left = active.filter((fault) => fault.times === 0 || fault.fired < fault.times).length;
    $("tab-faults").textContent = left > 0 ? `Faults (${left})` : "Faults";
  },

  drawActive(fault) {
    const off = make("button", { type: "button", textContent: "Switch off" });
    off.dataset.fault = fault.id;
    off.setAttribute("aria-label", `Switch off ${fault.text}`);
    off.addEventListener("click", () => this.change({ remove: fault.id }));
    const often = fault.times > 0 ? `${fault.fired} of ${counted(fault.times, "time")}`
      : counted(fault.fired, "time");
    const spent = fault.times > 0 && fault.fired === fault.times ? ", spent" : "";
    return make("li", {}, off, make("span", { className: "fault", textContent: fault.text }),
      make("span", { className: "quiet", textContent: `fired ${often}${spent}` }));
  },
};
