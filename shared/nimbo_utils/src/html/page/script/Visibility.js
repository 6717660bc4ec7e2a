// ---- Showing and hiding ----

/** A tree is not computed, which would be dear within others that are folded: the style sheet shows all of them. */
function isVisible(obj) {
  if (obj.xIsVisible === undefined) {
    const style = firstClass(obj) === 'tree' ? obj.style : getComputedStyle(obj);
    obj.xIsVisible = style.display !== 'none';
  }
  return obj.xIsVisible;
}

function setVisible(obj, visible) {
  if (obj.parentElement === desc_tblInner && isVisible(obj) !== visible) countShownDescs(visible ? 1 : -1);
  if (obj.xIsLong) {
    setAside(obj, !visible);
  } else {
    const shown = firstClass(obj) === 'tree' ? 'inline' : 'block';
    obj.style.display = visible ? shown : 'none';
  }
  obj.xIsVisible = visible;
}

/** Where none is shown, the table tells how to get one. */
function countShownDescs(more) {
  shownDescs += more;
  desc_tblInner.classList.toggle('empty', shownDescs === 0);
}

function makeVisible(obj) {
  setVisible(obj, true);
  scrollToObject(obj);
}

function makeInvisible(obj) {
  setVisible(obj, false);
}

/** A description goes to the top of the table. A tree moves only if its beginning is out of sight. */
function scrollToObject(obj) {
  if (!isTreeNode(obj)) {
    if (desc_tblPane) desc_tblPane.scrollTop = obj.offsetTop;
    return;
  }
  const pane = contentPane.getBoundingClientRect();
  const top = obj.getBoundingClientRect().top;
  if (top < pane.top || top >= pane.bottom) contentPane.scrollTop += top - pane.top;
}

/** Once per click. A description that is only shown because the mouse is over its entry stays from now on. */
function toggleVisibility(obj) {
  if (obj.visibilityCounter === eventCounter) return;
  obj.visibilityCounter = eventCounter;
  if (!isVisible(obj)) {
    makeVisible(obj);
  } else if (obj.forcedVisible) {
    obj.forcedVisible = false;
  } else {
    makeInvisible(obj);
  }
}

// ---- Hover ----

/** What can be hovered and clicked, and has a description. */
var richClasses = new Set([
  'entry', 'keyword', 'pskeyword', 'bracket', 'bracket2', 'op', 'op2', 'inop', 'preop', 'in-plain', 'constant',
  'regiondesc',
]);

function processMouseOver(event) {
  currentUnderMouse = eventSource(event);
  hoverSource(event, true);
}

function processMouseOut(event) {
  currentUnderMouse = null;
  hoverSource(event, false);
}

function hoverSource(event, active) {
  event.stopPropagation();
  const obj = sourceWithId(event);
  if (obj) mouseOverOutObject(obj, active);
}

function eventSource(event) {
  return event.target || event.srcElement;
}

/** The source of the event that has an id; null if none has. */
function sourceWithId(event) {
  return [event.target, event.srcElement, event.currentTarget].find((obj) => obj && obj.id) || null;
}

function mouseOverOutObject(obj, active) {
  if (obj.isActive === active) return;
  obj.isActive = active;
  if (!obj.xMouseOverOut) obj.xMouseOverOut = mouseOverOutHandler(obj);
  obj.xMouseOverOut(obj, active);
}

function mouseOverOutHandler(obj) {
  const inPlace = obj.inPlaceCollapse && firstClass(obj) === 'expander';
  return inPlace || richClasses.has(obj.className) ? handleMouseOverOutObject : doNothing;
}

function doNothing() {}

function handleMouseOverOutObject(obj, active) {
  for (const desc of getDesc(obj)) {
    if (active) {
      highlightObject(desc);
    } else {
      fadeObject(desc);
    }
  }
}

function highlightObject(obj) {
  if (!isVisible(obj)) {
    makeVisible(obj);
    obj.forcedVisible = true;
  }
  desc_tblPane.scrollTop = obj.offsetTop;
  if (obj.coloredIndex && obj.xItalic === undefined) {
    obj.xItalic = obj.style.fontStyle;
    obj.style.fontStyle = 'italic';
  }
}

function fadeObject(obj) {
  if (obj.forcedVisible) makeInvisible(obj);
  if (obj.xItalic !== undefined) {
    obj.style.fontStyle = obj.xItalic;
    obj.xItalic = undefined;
  }
}

// ---- Clicks ----

function isPlainClick(event) {
  return event.button === 0 && !event.shiftKey && !event.ctrlKey && !event.altKey && !event.metaKey;
}

/** Returns false where the browser shall not act on the click: it was spent on closing a menu. */
function processClick(event) {
  if (closeMenus()) return false;
  event.stopPropagation();
  const obj = sourceWithId(event);
  if (obj && obj.tagName !== 'INPUT' && isPlainClick(event)) {
    processObject(obj);
    ++eventCounter;
  }
  return true;
}

function processObject(obj) {
  if (!obj.xProcess) obj.xProcess = clickHandler(obj);
  obj.xProcess(obj);
}

function clickHandler(obj) {
  const cl = firstClass(obj);
  if (richClasses.has(cl)) return handleRichEvt;
  if (cl === 'expander') return handleTreeEvt;
  if (cl === 'onoff') return handleOnOffEvt;
  return doNothing;
}

function handleTreeEvt(obj) {
  if (obj.inPlaceCollapse) {
    expand(obj);
    return;
  }
  for (const tree of getTree(obj)) toggleVisibility(tree);
  for (const clone of getClones(obj)) toggleTreeNode(clone);
}

/** Between "-", raised, and "+", pressed in. */
function toggleTreeNode(obj) {
  const collapsed = obj.textContent === '-';
  obj.textContent = collapsed ? '+' : '-';
  obj.style.borderStyle = collapsed ? 'inset' : 'outset';
  if (obj.hasAttribute('aria-expanded')) obj.setAttribute('aria-expanded', String(!collapsed));
}

function handleOnOffEvt(obj) {
  for (const tree of getTree(obj)) {
    for (const part of tree.getElementsByTagName('*')) toggleOnOff(part);
  }
  toggleTreeNode(obj);
}

function toggleOnOff(obj) {
  if (obj.className !== 'on' && obj.className !== 'off') return;
  obj.style.display = getComputedStyle(obj).display === 'none' ? 'inline' : 'none';
}
