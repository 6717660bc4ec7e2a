// ---- Colouring ----
// A click colours a thing wherever it is mentioned and pins its description; a second click takes the colour back. When
// all colours are in use, the one that was taken first is taken over.

/** White on a dark colour, black on a light one. */
function makeComplementary(color) {
  return intensity(color) < intensity('#d0d0d0') ? '#ffffff' : '#000000';
}

function intensity(color) {
  const parts = [1, 3, 5].map((at) => parseInt(color.substring(at, at + 2), 16));
  return parts.reduce((sum, part) => sum + part * part, 0);
}

function activateColorSet(index) {
  activeColorSet = index;
  colorArray = brewerArray[index];
  complementaryColorArray = colorArray.map(makeComplementary);
}

function fillColorPool() {
  coloredObjs = {};
  usedColors = [];
  colorPool = colorArray.map((_, i) => i + 1);
}

var lastColoredEvent = 0;

function handleRichEvt(obj) {
  if (lastColoredEvent === eventCounter) return;
  lastColoredEvent = eventCounter;
  doColor(obj);
}

function doColor(obj) {
  const desc = getDesc(obj)[0];
  if (!desc) return;
  const treeEntries = getEntries(desc).filter(isTreeNode);
  const descEntries = getEntries(desc).filter(isDescEntry);
  for (const one of [...treeEntries, desc, ...descEntries]) saveColor(one);

  if (!toggleColor(desc)) {
    makeInvisible(desc);
    return;
  }
  applyColor(treeEntries, 'tree');
  applyColor([desc], 'desc');
  applyColor(descEntries, 'descEntry');
  makeVisible(desc);
  desc.forcedVisible = false;
}

/** Takes a colour for this description, or gives its colour back. Returns the colour taken, 0 if none was. */
function toggleColor(desc) {
  if (desc.coloredIndex) {
    const released = desc.coloredIndex;
    usedColors.splice(usedColors.indexOf(released), 1);
    restoreColors(released);
    colorPool.push(released);
    colorIndex = 0;
  } else {
    colorIndex = colorPool.length > 0 ? colorPool.shift() : takeOverOldestColor();
    usedColors.push(colorIndex);
    coloredObjs[colorIndex] = [];
  }
  return colorIndex;
}

function takeOverOldestColor() {
  const oldest = usedColors.shift();
  for (const obj of coloredObjs[oldest]) {
    if (firstClass(obj) === 'desc') makeInvisible(obj);
  }
  restoreColors(oldest);
  return oldest;
}

// ---- What an object looks like ----

/** A description is coloured with everything in it. */
function coloredParts(obj) {
  return firstClass(obj) === 'desc' ? [obj, ...obj.getElementsByTagName('*')] : [obj];
}

/** Remembers the colours that an object has of its own, before it gets any other. */
function saveColor(obj) {
  for (const part of coloredParts(obj)) {
    if (part.xColor !== undefined) continue;
    const own = ownColors(part);
    part.xColor = own.color;
    part.xBackground = own.background;
  }
}

var treeEntryColors = null;

/**
 * All entries of the tree look alike, and there may be many thousands of one thing: the browser is asked only once, of
 * the first entry, which is never folded away.
 */
function ownColors(obj) {
  const isUsual = obj.className === 'entry' && !obj.hasAttribute('style') && isTreeNode(obj);
  if (!isUsual) return computedColors(obj);
  if (!treeEntryColors) treeEntryColors = computedColors(contentPane.querySelector('span.entry'));
  return treeEntryColors;
}

function computedColors(obj) {
  const style = getComputedStyle(obj);
  return {color: style.color, background: style.backgroundColor};
}

function applyColor(objs, phase) {
  for (const obj of objs) {
    applyColorObj(obj, colorIndex, phase);
    coloredObjs[colorIndex].push(obj);
  }
}

/** An entry in a description lies in one thing's description and names another: the one that it names wins. */
function applyColorObj(obj, index, phase) {
  if (phase === 'descEntry') {
    obj.entryColoredIndex = index;
    repaintColorObj(obj);
    return;
  }
  for (const part of coloredParts(obj)) {
    part.coloredIndex = index;
    repaintColorObj(part);
  }
}

function restoreColors(index) {
  for (const obj of coloredObjs[index]) restoreColorObj(obj, index);
  coloredObjs[index] = [];
}

function restoreColorObj(obj, index) {
  for (const part of coloredParts(obj)) {
    if (part.coloredIndex === index) part.coloredIndex = 0;
    if (part.entryColoredIndex === index && part === obj) part.entryColoredIndex = 0;
    repaintColorObj(part);
  }
}

function repaintColorObj(obj) {
  const index = obj.entryColoredIndex || obj.coloredIndex;
  if (index) {
    obj.style.color = complementaryColorArray[index - 1];
    obj.style.backgroundColor = colorArray[index - 1];
  } else if (obj.xColor !== undefined) {
    obj.style.color = obj.xColor;
    obj.style.backgroundColor = obj.xBackground;
  }
}

/** Paints everything anew, after another set of colours was chosen. */
function repaintColors() {
  for (const index of usedColors) {
    for (const obj of coloredObjs[index]) coloredParts(obj).forEach(repaintColorObj);
  }
}

/** Gives a new object the colour of the thing that it names, if that has one by now. */
function adoptColor(obj) {
  const id = reclassId(obj.id, 'entry');
  if (!id || id !== obj.id) return;
  const desc = objectsOfId(reclassId(id, 'desc'))[0];
  if (!desc || !desc.coloredIndex) return;
  const inTree = isTreeNode(obj);
  if (!inTree && !isDescEntry(obj)) return;
  saveColor(obj);
  applyColorObj(obj, desc.coloredIndex, inTree ? 'tree' : 'descEntry');
  coloredObjs[desc.coloredIndex].push(obj);
}
