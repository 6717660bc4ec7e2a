// ---- Menus ----

var kShadowOffset = 3;

function isMenuOpen(menu) {
  return menu !== null && menu.style.display === 'block';
}

/** Opens the menu with its corner at this place of the window, its shadow a little off. */
function openMenu(menu, shadow, left, top) {
  menu.style.left = left + 'px';
  menu.style.top = top + 'px';
  menu.style.display = 'block';
  shadow.style.left = left + kShadowOffset + 'px';
  shadow.style.top = top + kShadowOffset + 'px';
  const size = menu.getBoundingClientRect();
  shadow.style.width = size.width + 'px';
  shadow.style.height = size.height + 'px';
  shadow.style.display = 'block';
}

function closeMenu(menu, shadow) {
  const wasOpen = isMenuOpen(menu);
  if (wasOpen) {
    menu.style.display = 'none';
    shadow.style.display = 'none';
  }
  return wasOpen;
}

/** Returns true if a menu was open. */
function closeMenus() {
  const color = closeMenu(colorMenu, colorShadow);
  const context = closeMenu(contextMenu, contextShadow);
  return color || context;
}

function anyMenuOpen() {
  return isMenuOpen(colorMenu) || isMenuOpen(contextMenu);
}

/** A line of a menu. It can be reached with the keys, and is chosen by a click or by Enter. */
function addMenuItem(list, cl, role, action) {
  const item = document.createElement('li');
  item.className = cl;
  item.tabIndex = -1;
  item.setAttribute('role', role);
  item.onclick = action;
  list.appendChild(item);
  return item;
}

function addSpan(parent, cl, text) {
  const span = document.createElement('span');
  span.className = cl;
  span.textContent = text;
  parent.appendChild(span);
  return span;
}

// ---- The colour menu ----

function populateColorList() {
  brewerArray.forEach((colors, index) => {
    const item = addMenuItem(colorList, 'colorItem', 'menuitemradio', () => processColorItem(index));
    addSpan(item, 'colorName', 'Colorset ' + (index + 1) + ':');
    for (const color of colors) addSpan(item, 'square', '').style.backgroundColor = color;
  });
}

function markActiveColorSet() {
  Array.from(colorList.children).forEach((item, index) => {
    item.setAttribute('aria-checked', String(index === activeColorSet));
  });
}

/** Opens the menu under its button. A second press closes it: closing an open menu is all that the click then does. */
function processBrewer(form) {
  if (closeMenu(colorMenu, colorShadow)) return;
  const button = form.elements[0].getBoundingClientRect();
  openMenu(colorMenu, colorShadow, button.left, button.bottom + kShadowOffset);
  colorList.children[activeColorSet].focus();
}

function processColorItem(index) {
  activateColorSet(index);
  markActiveColorSet();
  repaintColors();
}

// ---- The context menu ----

/** Returns false where the browser shall not open a menu of its own. */
function processContextMenu(event) {
  const obj = eventSource(event);
  if (obj !== currentUnderMouse || !obj.id) return true;
  return rightClickMenu(obj, event);
}

function rightClickMenu(obj, event) {
  closeMenus();
  contextObject = obj;
  contextList.replaceChildren();
  addOptionCollapse(obj);
  addOptionBox(obj);
  addOptionInfix(obj);
  if (contextList.children.length > 0) openContextMenu(event.clientX, event.clientY);
  return false;
}

/** At the mouse, or on the other side of it where the window ends too early. */
function openContextMenu(x, y) {
  openMenu(contextMenu, contextShadow, x, y);
  const {width, height} = contextMenu.getBoundingClientRect();
  const left = x + width > window.innerWidth ? x - width + 1 : x;
  const top = y + height > window.innerHeight ? y - height + 1 : y;
  openMenu(contextMenu, contextShadow, left, top);
}

function addOption(action) {
  const item = addMenuItem(contextList, 'contextOption', 'menuitem', () => processContextOption(action));
  item.textContent = action;
}

function addOptionCollapse(obj) {
  if (obj.inPlaceCollapse) {
    addOption('Expand');
  } else if (obj.parentElement.closest('.expr')) {
    addOption('Collapse');
  }
}

function addOptionBox(obj) {
  const expr = enclosingExpr(obj);
  if (expr) addOption(expr.xBoxed ? 'Unbox' : 'Box');
}

function addOptionInfix(obj) {
  const expr = enclosingExpr(obj);
  if (expr) addOption(isPrefix(expr) ? 'Infix view' : 'Prefix view');
}

function processContextOption(action) {
  switch (action) {
    case 'Collapse': collapse(contextObject); break;
    case 'Expand': expand(contextObject); break;
    case 'Box': setBox(enclosingExpr(contextObject), true); break;
    case 'Unbox': setBox(enclosingExpr(contextObject), false); break;
    case 'Prefix view': setPrefixInfixWithin(enclosingExpr(contextObject), true); break;
    case 'Infix view': setPrefixInfixWithin(enclosingExpr(contextObject), false); break;
    default: alert('Option \'' + action + '\' not yet implemented.');
  }
}
