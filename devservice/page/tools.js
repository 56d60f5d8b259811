// What all parts of the page use. Texts of the account enter the document as text only, never as
// markup: every element is made by make().
const $ = (id) => document.getElementById(id);

function make(tag, properties = {}, ...children) {
  const element = document.createElement(tag);
  for (const [name, value] of Object.entries(properties)) {
    if (name.includes("-") || name === "role") element.setAttribute(name, value);
    else element[name] = value;
  }
  element.append(...children);
  return element;
}

const token = new URLSearchParams(location.search).get("token");

async function call(method, path, body) {
  const answer = await fetch(`/control/${path}`, {
    method,
    body: body && JSON.stringify(body),
    headers: { Authorization: `Bearer ${token}` },
  });
  if (answer.ok) return answer;
  throw Object.assign(new Error((await answer.text()).trim()), { status: answer.status });
}

const callJson = async (method, path, body) => (await call(method, path, body)).json();

const kUnits = ["bytes", "KB", "MB", "GB", "TB"];

function sizeText(bytes) {
  let unit = 0;
  while (bytes >= 1000 && unit < kUnits.length - 1) {
    bytes /= 1000;
    ++unit;
  }
  return `${unit === 0 ? bytes : bytes.toPrecision(3)} ${kUnits[unit]}`;
}

const counted = (count, what) => `${count.toLocaleString("en")} ${what}${count === 1 ? "" : "s"}`;

// The one window in front of the page; Escape closes it, and the focus returns to where it was.
// `buttons` are [label, action] pairs; `closed` is called when it goes.
function openWindow(title, content, buttons = [], closed = () => {}) {
  const dialog = $("window");
  const close = make("button", { type: "button", textContent: "Close", id: "close" });
  close.addEventListener("click", () => dialog.close());
  const bar = make("p", { className: "buttons" });
  for (const [label, action] of buttons) {
    const button = make("button", { type: "button", textContent: label });
    button.addEventListener("click", action);
    bar.append(button);
  }
  bar.append(close);
  dialog.replaceChildren(make("h2", { id: "window-title", textContent: title }), bar, ...content);
  dialog.addEventListener("close", () => {
    dialog.replaceChildren();
    closed();
  }, { once: true });
  dialog.showModal();
  close.focus();
}

// Names and values; empty values are left out.
function fields(pairs) {
  const list = make("dl");
  for (const [name, value] of pairs) {
    if (value === "" || value === undefined) continue;
    list.append(make("dt", { textContent: name }), make("dd", { textContent: value }));
  }
  return list;
}

function say(text) {
  $("said").textContent = text;
}

async function copyText(text, what) {
  try {
    await navigator.clipboard.writeText(text);
    say(`${what} copied.`);
  } catch (error) {
    say(`Cannot copy: ${error.message}`);
  }
}
