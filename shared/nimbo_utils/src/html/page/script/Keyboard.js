// ---- Keys ----
// In the panes the arrow keys go from one expander or entry to the next, Enter does what a click does, and the focus
// shows the description as the mouse would. Left and right fold and unfold. In a menu they choose, Escape closes it.

function enableKeys() {
  document.addEventListener('keydown', processKeyDown);
  for (const pane of [contentPane, desc_tblPane]) {
    if (pane) pane.tabIndex = 0;
  }
  if (!contentPane) return;
  contentPane.addEventListener('focusin', (event) => hoverByKeys(event.target, true));
  contentPane.addEventListener('focusout', fadeByKeys);
}

function hoverByKeys(obj, active) {
  if (obj.id) mouseOverOutObject(obj, active);
}

/**
 * Not while the focus is in the table: a description that goes from there moves the others, away from under the mouse
 * that has just been pressed.
 */
function fadeByKeys(event) {
  const stop = event.target;
  if (desc_tblPane && desc_tblPane.contains(event.relatedTarget)) {
    desc_tblPane.addEventListener('focusout', () => hoverByKeys(stop, false), {once: true});
  } else {
    hoverByKeys(stop, false);
  }
}

function processKeyDown(event) {
  if (event.ctrlKey || event.altKey || event.metaKey) return;
  if (menuKey(event) || paneKey(event)) event.preventDefault();
}

// ---- In a menu ----

function menuKey(event) {
  if (!anyMenuOpen()) return false;
  const list = isMenuOpen(colorMenu) ? colorList : contextList;
  const item = list.contains(document.activeElement) ? document.activeElement : null;
  switch (event.key) {
    case 'Escape': closeMenus(); return true;
    case 'Enter': if (item) item.click(); return item !== null;
    case 'ArrowDown': return focusItem(item && item.nextElementSibling || list.firstElementChild);
    case 'ArrowUp': return focusItem(item && item.previousElementSibling || list.lastElementChild);
    default: return false;
  }
}

function focusItem(item) {
  item.focus();
  return true;
}

// ---- In a pane ----

function paneKey(event) {
  const pane = [contentPane, desc_tblPane].find((one) => one && one.contains(event.target));
  if (!pane) return false;
  if (!isStop(event.target)) return event.key === 'ArrowDown' && focusStop(rememberedStop(pane));
  return Object.hasOwn(stopKeys, event.key) && stopKeys[event.key](pane, event.target);
}

/** What a key does on an expander or entry. Each returns true if the key was of use. */
var stopKeys = {
  'ArrowDown': (pane, stop) => focusStop(nextStop(pane, stop)),
  'ArrowUp': (pane, stop) => focusStop(previousStop(pane, stop)),
  'ArrowLeft': (pane, stop) => foldStop(stop),
  'ArrowRight': (pane, stop) => unfoldStop(pane, stop),
  'Home': (pane) => focusStop(nextStop(pane, pane)),
  'End': (pane) => focusStop(lastStop(pane)),
  'Enter': (pane, stop) => clickStop(stop),
  ' ': (pane, stop) => clickStop(stop),
};

function isStop(obj) {
  const cl = firstClass(obj);
  return cl === 'entry' || cl === 'expander';
}

function stopFilter(obj) {
  const hidden = obj.style.display === 'none' || isSetAside(obj) || (firstClass(obj) === 'desc' && !isVisible(obj));
  if (hidden) return NodeFilter.FILTER_REJECT;
  return isStop(obj) ? NodeFilter.FILTER_ACCEPT : NodeFilter.FILTER_SKIP;
}

function stopsFrom(pane, obj) {
  const walker = document.createTreeWalker(pane, NodeFilter.SHOW_ELEMENT, stopFilter);
  walker.currentNode = obj;
  return walker;
}

function nextStop(pane, obj) {
  return stopsFrom(pane, obj).nextNode();
}

function previousStop(pane, obj) {
  return stopsFrom(pane, obj).previousNode();
}

/** The way in is from the last object, which need not be a stop, nor visible. */
function lastStop(pane) {
  const walker = stopsFrom(pane, pane);
  let last = null;
  while (walker.lastChild()) last = walker.currentNode;
  return last;
}

function rememberedStop(pane) {
  const stop = pane.xStop;
  return stop && stop.isConnected && stop.checkVisibility() ? stop : nextStop(pane, pane);
}

function focusStop(stop) {
  if (!stop) return false;
  const pane = isTreeNode(stop) ? contentPane : desc_tblPane;
  pane.xStop = stop;
  stop.tabIndex = -1;
  if (firstClass(stop) === 'expander') {
    stop.setAttribute('role', 'button');
    stop.setAttribute('aria-expanded', String(stop.textContent === '-'));
  }
  stop.focus();
  return true;
}

function clickStop(stop) {
  processObject(stop);
  ++eventCounter;
  return true;
}

/** The expander at the head of the line that this stop is in; null if the line has none. */
function expanderOf(stop) {
  if (firstClass(stop) === 'expander') return stop;
  for (let node = stop.previousElementSibling; node && node.nodeName !== 'BR'; node = node.previousElementSibling) {
    if (firstClass(node) === 'expander') return node;
  }
  return null;
}

/** Folds what the stop unfolds; what is folded already, or cannot be, hands over to the line around it. */
function foldStop(stop) {
  const expander = expanderOf(stop);
  if (expander && expander.textContent === '-') return clickStop(expander);
  const around = stop.closest('span.tree');
  return focusStop(around ? objectsOfId(reclassId(around.id, 'expander'))[0] : null);
}

function unfoldStop(pane, stop) {
  const expander = expanderOf(stop);
  if (!expander || expander.textContent === '-') return focusStop(nextStop(pane, stop));
  return clickStop(expander);
}
