// ---- Blocks of lines ----
// A browser lays out a long tree as one endless paragraph, all of it for every change. So the lines are gathered in
// blocks, of which it needs to lay out only those in the window (div.lines in the style sheet). The tree is nested, and
// so are the blocks: a block holds whole lines of one level, with all that is nested in them.

var kLinesPerBlock = 50;
var kBlocksPerBlock = 30;  // more than these are gathered once more
var kLineHeight = 1.4;     // in em, as in the style sheet

function cutTreeIntoBlocks() {
  if (!contentPane) return;
  const place = document.createComment('');
  contentPane.replaceWith(place);  // what is not in the document is moved faster
  const trees = contentPane.querySelectorAll('.tree');  // no live list: each change would have to keep it right
  for (const tree of Array.from(trees).reverse()) countAndCut(tree);  // the inner ones first: they are counted then
  countAndCut(contentPane);
  place.replaceWith(contentPane);
}

/** Most spans of children are short and have none within them: those are only counted, without touching their parts. */
function countAndCut(parent) {
  const lines = parent.querySelector('.tree') ? Infinity : countLines(parent);
  parent.xLines = lines <= kLinesPerBlock ? lines : cutIntoBlocks(parent);
}

/** Returns the number of lines in it. */
function cutIntoBlocks(parent) {
  const openingLine = parent === contentPane ? null : openingLineEnd(parent);
  const blocks = [];
  let first = openingLine ? openingLine.nextSibling : parent.firstChild;
  let lines = 0;
  let all = openingLine ? 1 : 0;
  for (let obj = firstElementFrom(first); obj; obj = obj.nextElementSibling) {
    const more = linesOf(obj);
    lines += more;
    all += more;
    if (obj.nodeName !== 'BR' || lines < kLinesPerBlock) continue;
    blocks.push({first: first, last: obj, lines: lines});
    first = obj.nextSibling;
    lines = 0;
  }
  const isCut = blocks.length > 1;
  if (isCut) wrapBlocks(blocks);
  if (openingLine && (isCut || Array.from(parent.children).some((obj) => obj.xIsLong))) prepareToSetAside(parent);
  return all;
}

// ---- Trees with blocks ----
// To hide a tree with "display: none" the browser visits all that is in it, and what it does for each block in it grows
// with the number of all blocks. So a tree that has blocks anywhere is set aside: its blocks lose their size and their
// contents are skipped; what stands between them is little, and gets spans by which it can be hidden.

function prepareToSetAside(tree) {
  let span = null;
  for (const node of Array.from(tree.childNodes)) {
    if (isBlock(node) || node.xIsLong) {
      span = null;
      continue;
    }
    if (!span) {
      span = document.createElement('span');
      node.before(span);
    }
    span.appendChild(node);
  }
  tree.xIsLong = true;
}

/** What is folded within the tree by itself stays so when the tree comes back. */
function setAside(tree, aside) {
  for (const part of tree.children) {
    if (isBlock(part)) {
      part.className = aside ? 'lines aside' : 'lines';
    } else if (!part.xIsLong) {
      part.style.display = aside ? 'none' : '';
    } else if (aside || isVisible(part)) {
      setAside(part, aside);
    }
  }
}

function isBlock(node) {
  return node.nodeName === 'DIV' && firstClass(node) === 'lines';
}

function isSetAside(obj) {
  return obj.className === 'lines aside';
}

function firstElementFrom(node) {
  return !node || node.nodeType === Node.ELEMENT_NODE ? node : node.nextElementSibling;
}

/** The line that opens a span of children ends within it. Its end must stay in that line, outside all blocks. */
function openingLineEnd(tree) {
  let obj = tree.firstElementChild;
  while (obj && obj.nodeName !== 'BR') obj = obj.nextElementSibling;
  return obj;
}

function linesOf(obj) {
  if (obj.nodeName === 'BR') return 1;
  if (obj.xLines !== undefined) return obj.xLines;
  return obj.firstElementChild ? countLines(obj) : 0;
}

function countLines(obj) {
  return obj.querySelectorAll('br').length;
}

/**
 * Puts a div around each block, and around each group of blocks where there are many. The divs come first and the lines
 * are moved right into them: moving a part of a document is dear, so each is moved only once.
 */
function wrapBlocks(blocks) {
  const before = blocks[0].first;
  for (const div of nestedDivs(blocks)) before.before(div);
  for (const block of blocks) fillBlock(block);
}

/** The outermost of the divs that will hold these blocks. */
function nestedDivs(blocks) {
  let divs = blocks.map((block) => {
    block.div = newBlock(block.lines);
    return block.div;
  });
  while (divs.length > kBlocksPerBlock) divs = gatherDivs(divs);
  return divs;
}

function gatherDivs(divs) {
  const outer = [];
  for (let i = 0; i < divs.length; i += kBlocksPerBlock) {
    const inner = divs.slice(i, i + kBlocksPerBlock);
    const div = newBlock(inner.reduce((sum, one) => sum + one.xLines, 0));
    div.append(...inner);
    outer.push(div);
  }
  return outer;
}

function newBlock(lines) {
  const div = document.createElement('div');
  div.className = 'lines';
  div.style.containIntrinsicSize = 'auto 1px auto ' + (lines * kLineHeight).toFixed(1) + 'em';
  div.xLines = lines;
  return div;
}

function fillBlock(block) {
  for (let node = block.first, next; node; node = next) {
    next = node === block.last ? null : node.nextSibling;
    block.div.appendChild(node);
  }
}
