// ---- Expressions ----
// The views of expression trees. Pages of a printer that has no expressions hold none of these classes.

/** The innermost expression around `obj`, which may be `obj` itself. */
function enclosingExpr(obj) {
  return obj.closest('.expr, .top-expr');
}

function isPrefix(expr) {
  return expr.xPrefix !== false;
}

/** Shows one object as it is in the prefix or in the infix view. What is collapsed stays hidden. */
function setPrefixInfix(obj, prefix) {
  if (obj.xCollapsed) return;
  switch (firstClass(obj)) {
    case 'expr':
      obj.style.display = prefix ? obj.xDisplay : 'inline';
      obj.style.marginLeft = prefix ? obj.xMarginLeft : '0';
      obj.xPrefix = prefix;
      break;
    case 'top-expr':
      obj.xPrefix = prefix;
      break;
    case 'oper':
      obj.style.display = prefix ? 'block' : 'inline';
      break;
    case 'inop':
    case 'in-plain':
      obj.style.display = prefix ? 'none' : 'inline';
      break;
    case 'preop':
      obj.style.display = prefix ? 'inline' : 'none';
      break;
  }
}

function setPrefixInfixWithin(obj, prefix) {
  setPrefixInfix(obj, prefix);
  for (const part of obj.getElementsByTagName('*')) setPrefixInfix(part, prefix);
}

function setBox(obj, boxed) {
  obj.style.border = boxed ? '1px solid' : '';
  obj.style.padding = boxed ? '1px' : '';
  obj.xBoxed = boxed;
}

// ---- Collapsing in place ----

/** Puts a button in the place of everything that stands beside `obj`. */
function collapse(obj) {
  const parent = obj.parentElement;
  const expr = enclosingExpr(parent);
  wrapTexts(parent);
  for (const child of parent.children) {
    child.expDisplay = child.style.display;
    child.style.display = 'none';
    child.xCollapsed = true;
  }
  const button = addSpan(parent, 'expander', '+');
  button.id = obj.id;
  button.inPlaceCollapse = true;
  button.xPrefix = isPrefix(expr);
  addObjToMap(button);
  adoptColor(button);
}

/** A bare text cannot be hidden, so it gets a span. */
function wrapTexts(parent) {
  for (const node of Array.from(parent.childNodes)) {
    if (node.nodeType !== Node.TEXT_NODE) continue;
    const span = document.createElement('span');
    node.replaceWith(span);
    span.appendChild(node);
  }
}

/** The children come back as they were; if the view has changed since then, in the view of now. */
function expand(button) {
  const parent = button.parentElement;
  const expr = enclosingExpr(parent);
  fadeForGood(button);
  removeObjFromMap(button);
  button.remove();
  for (const child of parent.children) {
    child.style.display = child.expDisplay;
    child.xCollapsed = false;
    if (isPrefix(expr) !== button.xPrefix) setPrefixInfixWithin(child, isPrefix(expr));
  }
}

/** The mouse cannot leave an object that is gone. */
function fadeForGood(obj) {
  if (obj.isActive) mouseOverOutObject(obj, false);
}
