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
  if (blocks.length > 1) wrapBlocks(blocks);
  return all;
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
