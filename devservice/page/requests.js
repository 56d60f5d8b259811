// The list of requests, its filters, and the window that shows one request whole.
const hasFailed = (request) =>
  request.status === 0 || request.status >= 400 || request.errorCode !== 0 || !request.complete;

const nameOf = (request) => request.method || `${request.verb} ${request.path}`;

// Without the method where that is the request's own.
const faultOf = ({ fault, method }) =>
  (fault.startsWith(`${method}:`) ? fault.slice(method.length + 1) : fault);

function resultText(request, fault = request.fault) {
  const parts = [];
  if (request.errorCode !== 0) parts.push(`error ${request.errorCode}: ${request.errorText}`);
  else parts.push(request.status === 0 ? "no answer" : String(request.status));
  if (!request.complete && request.verb !== "?") parts.push("body cut short");
  if (fault) parts.push(`fault ${fault}`);
  return parts.join(", ");
}

// One line, for people to paste.
const lineOf = (request) =>
  [request.time, nameOf(request), resultText(request), `${request.milliseconds} ms`,
    `in ${request.bytesIn}`, `out ${request.bytesOut}`].join("\t");

function textOf(request) {
  const kept = (text) => (text === undefined ? "(no longer kept)" : text);
  return [
    lineOf(request),
    `${request.verb} ${request.path}${request.query ? `?${request.query}` : ""}`,
    `Signature: ${request.signature || "none needed"}`,
    "", "Document:", kept(request.document), "", "Answer:", kept(request.answer), "",
  ].join("\n");
}

// The third cell says what became of the request, in colour. What is cut can be seen under the mouse.
function drawCells(request, className, cells) {
  const row = make("div", { role: "option", className }, ...[request.time.slice(11, 23),
    nameOf(request), ...cells].map((text) => make("span", { textContent: text, title: text })));
  row.children[2].className = request.fault ? "fault" : hasFailed(request) ? "bad" : "";
  return row;
}

const drawRequest = (request) => drawCells(request, "request", [resultText(request, faultOf(request)),
  request.milliseconds.toFixed(1), request.bytesIn, request.bytesOut]);

const requestRows = {
  rowHeight: 26,
  draw: drawRequest,
  keyOf: (request) => request.number,
  open: openRequest,
  follow: true,
};

const requests = {
  all: [],
  methods: new Set(),

  start() {
    this.list = new WindowedList($("requests"), requestRows);
    $("method").addEventListener("change", () => this.show());
    $("failures").addEventListener("change", () => this.show());
    $("copy-list").addEventListener("click", () =>
      copyText(this.list.rows.map(lineOf).join("\n"), counted(this.list.rows.length, "request")));
  },

  clear() {
    this.all = [];
    this.show();
  },

  // `first`: what is older has left the service's log too.
  add(rows, first) {
    if (this.all.length > 0 && this.all[0].number < first)
      this.all = this.all.filter((request) => request.number >= first);
    this.all.push(...rows);
    for (const request of rows) this.addMethod(nameOf(request));
    this.show();
  },

  addMethod(name) {
    if (this.methods.has(name) || this.methods.size >= 100) return;
    this.methods.add(name);
    $("method").append(make("option", { value: name, textContent: name }));
  },

  show() {
    const method = $("method").value;
    const failures = $("failures").checked;
    const shown = this.all.filter((request) => (!method || nameOf(request) === method) &&
      (!failures || hasFailed(request) || request.fault));
    this.list.setRows(shown);
    $("requests-count").textContent = shown.length === this.all.length
      ? counted(shown.length, "request") : `${shown.length} of ${counted(this.all.length, "request")}`;
  },
};

function section(title, text, missing) {
  const pieces = [make("h3", { textContent: title })];
  if (text) pieces.push(make("pre", { textContent: text, tabIndex: 0 }));
  else pieces.push(make("p", { className: "quiet", textContent: missing }));
  return pieces;
}

async function openRequest(row) {
  let request;
  try {
    request = await callJson("GET", `log/${row.number}`);
  } catch (error) {
    return say(`Cannot open the request: ${error.message}`);
  }
  const missing = (text) => (text === undefined ? "No longer kept." : "None.");
  openWindow(nameOf(request), [
    fields([
      ["Time", request.time],
      ["Request", `${request.verb} ${request.path}`],
      ["Query", request.query],
      ["Result", resultText(request)],
      ["Signature", request.signature || "none needed"],
      ["Took", `${request.milliseconds} ms`],
      ["Bytes in", request.bytesIn],
      ["Bytes out", request.bytesOut],
    ]),
    ...section("Document", request.document, missing(request.document)),
    ...section("Answer", request.answer, missing(request.answer)),
  ], [["Copy as text", () => copyText(textOf(request), "The request")]]);
}
