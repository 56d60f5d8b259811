// The page's life: it asks for what is new by the number of the last request it has seen.
const kPollPause = 500; // milliseconds; a page out of sight asks less often
const kHiddenPause = 5000;

const live = { instance: "", last: 0, revision: -1, busy: false, notBefore: 0, account: "" };

function pause() {
  return new Promise((resolve) => {
    const timer = setTimeout(resolve, document.hidden ? kHiddenPause : kPollPause);
    document.addEventListener("visibilitychange", () => {
      clearTimeout(timer);
      resolve();
    }, { once: true });
  });
}

// A large account is not asked for again and again while it is being filled.
async function refreshAccount(revision) {
  if (live.busy || revision === live.revision || performance.now() < live.notBefore) return;
  live.busy = true;
  const start = performance.now();
  try {
    const chosen = live.account;
    const data = await callJson("GET", chosen ? `account?id=${chosen}` : "account");
    if (chosen === live.account) {
      account.set(data);
      outbox.set(data.mails);
      live.revision = data.revision;
    }
  } catch (error) {
    say(`Cannot read the account: ${error.message}`);
  }
  live.notBefore = performance.now() + 4 * (performance.now() - start);
  live.busy = false;
}

function setStatus(text, bad) {
  if ($("status").textContent !== text) $("status").textContent = text;
  $("status").classList.toggle("bad", bad);
}

// True when there is more to ask for at once.
async function poll() {
  const state = await callJson("GET", `log?after=${live.last}`);
  if (state.instance !== live.instance) {
    // The service was started anew, and counts from the start.
    const asked = live.last;
    Object.assign(live, { instance: state.instance, last: 0, revision: -1, account: "" });
    requests.clear();
    if (asked > 0) return true;
  }
  if (state.requests.length > 0) {
    live.last = state.requests.at(-1).number;
    requests.add(state.requests, state.first);
  }
  faults.set(state.faults, requests.all);
  refreshAccount(state.revision);
  setStatus("Live", false);
  return live.last < state.last;
}

async function run() {
  for (;;) {
    let more = false;
    try {
      more = await poll();
    } catch (error) {
      setStatus(error.status === 403 ? "Refused: open the page by the URL that the service prints"
        : "The service does not answer", true);
    }
    if (!more) await pause();
  }
}

function confirmReset() {
  openWindow("Empty all accounts?", [
    make("p", { textContent: "Folders, albums, pictures and mails go. Accounts and sessions stay." }),
  ], [["Empty them", async () => {
    $("window").close();
    await call("POST", "reset").catch((error) => say(error.message));
  }]]);
}

const tabs = ["account", "outbox", "faults"];

function showTab(name) {
  for (const each of tabs) {
    $(`panel-${each}`).hidden = each !== name;
    $(`tab-${each}`).setAttribute("aria-selected", each === name);
    $(`tab-${each}`).tabIndex = each === name ? 0 : -1;
  }
}

function onTabKey(event) {
  const step = { ArrowLeft: -1, ArrowRight: 1 }[event.key];
  const at = tabs.findIndex((name) => event.target.id === `tab-${name}`);
  if (!step || at < 0) return;
  const next = tabs[(at + step + tabs.length) % tabs.length];
  showTab(next);
  $(`tab-${next}`).focus();
}

for (const name of tabs) $(`tab-${name}`).addEventListener("click", () => showTab(name));
document.querySelector('[role="tablist"]').addEventListener("keydown", onTabKey);
$("address").addEventListener("change", () =>
  Object.assign(live, { account: $("address").value, revision: -1, notBefore: 0 }));
$("reset").addEventListener("click", confirmReset);
showTab("account");
for (const part of [requests, account, outbox, faults]) part.start();
run();
