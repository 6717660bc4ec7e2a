// ---- Objects and their ids ----

// The letter of each view of a thing. The printer writes ids for some of them; its own list has a twin of this one.
var class2char = {
  desc_hdr: 'B',
  desc: 'D',
  keyword: 'H',
  descItem: 'I',
  entry: 'J',
  toggle: 'K',
  attrName: 'N',
  tree: 'O',
  expander: 'Q',
  desc_tbl: 'R',
  descName: 'S',
  descAddr: 'T',
};

/** The id of the view `cl` of the thing that `id` is a view of; empty if there is none. */
function reclassId(id, cl) {
  const letter = Object.hasOwn(class2char, cl) ? class2char[cl] : '';
  return id && letter ? letter + id.substring(1) : '';
}

function firstClass(obj) {
  return obj.className.split(' ', 1)[0];
}

/** All objects with this id. The list is the page's own and grows when descriptions are loaded: it is never copied. */
function objectsOfId(id) {
  if (!id) return [];
  return documentIdMap[id] || (documentIdMap[id] = []);
}

function isInDocument(id) {
  return id in documentIdMap && documentIdMap[id].length > 0;
}

/** All objects with the id of `obj`, itself included. */
function getClones(obj) {
  if (!obj.xClones) {
    const clones = objectsOfId(obj.id);
    for (const clone of clones) clone.xClones = clones;
    obj.xClones = clones;
  }
  return obj.xClones;
}

/** The objects that name the thing of `obj`, in the tree and in the descriptions loaded so far. */
function getEntries(obj) {
  if (!obj.xEntries) obj.xEntries = objectsOfId(reclassId(obj.id, 'entry'));
  return obj.xEntries;
}

/** The spans around the children of the thing of `obj`. */
function getTree(obj) {
  if (!obj.xTree) obj.xTree = objectsOfId(reclassId(obj.id, 'tree'));
  return obj.xTree;
}

/** True in the tree at the right. */
function isTreeNode(obj) {
  if (obj.xIsTreeNode === undefined) obj.xIsTreeNode = obj.closest('.content') !== null;
  return obj.xIsTreeNode;
}

/** True for an entry within a description. */
function isDescEntry(obj) {
  if (obj.xIsDescEntry === undefined) {
    obj.xIsDescEntry = firstClass(obj) === 'entry' && obj.closest('.desc_tbl') !== null;
  }
  return obj.xIsDescEntry;
}

/** Calls `action` with every object of this id. */
function idIter(id, action) {
  for (const obj of objectsOfId(id)) action(obj);
}

// ---- Filing the document ----

/** Keeps the objects that the script works with all the time, and what the views of expressions have to restore. */
function setHooks(obj) {
  switch (obj.className) {
    case 'content': contentPane = obj; break;
    case 'desc_tbl': desc_tblPane = obj; break;
    case 'desc_tbl_inner': desc_tblInner = obj; break;
    case 'legend': legendPane = obj; break;
    case 'colorMenu': colorMenu = obj; break;
    case 'colorList': colorList = obj; break;
    case 'colorShadow': colorShadow = obj; break;
    case 'contextMenu': contextMenu = obj; break;
    case 'contextList': contextList = obj; break;
    case 'contextShadow': contextShadow = obj; break;
    case 'expr':
    case 'top-expr':
      obj.xDisplay = obj.style.display;
      obj.xMarginLeft = obj.style.marginLeft;
      break;
  }
}

function addObjToMap(obj) {
  if (obj.id) objectsOfId(obj.id).push(obj);
  setHooks(obj);
}

function removeObjFromMap(obj) {
  const clones = objectsOfId(obj.id);
  const at = clones.indexOf(obj);
  if (at >= 0) clones.splice(at, 1);
}

function populateDocumentIdMap() {
  document.body.style.cursor = 'wait';
  // Of the spans and line ends without an id, most of a large document, there is nothing to file or keep.
  for (const obj of document.querySelectorAll('[id], div, ul, .expr, .top-expr')) addObjToMap(obj);
  document.body.style.cursor = '';
}
