// ---- The sizes of the panes ----

/** Gives the panes the height that the legend leaves, and the table the width that its scroll bar leaves. */
function resizeDescTbl() {
  if (!contentPane || !desc_tblPane || !desc_tblInner) return;
  contentPane.style.height = 'auto';
  const legendHeight = legendPane && isVisibleNow(legendPane) ? legendPane.offsetHeight : 0;
  const height = contentPane.offsetHeight - legendHeight + 'px';
  contentPane.style.height = height;
  desc_tblPane.style.height = height;
  desc_tblInner.style.width = desc_tblPane.offsetWidth - scrollbarWidth + 'px';
}

function isVisibleNow(obj) {
  return getComputedStyle(obj).display !== 'none';
}

/** The buttons that fold have a font of their own, but are to take a column of the text around them. */
function measureColumn() {
  const pen = document.createElement('canvas').getContext('2d');
  pen.font = getComputedStyle(contentPane).font;
  contentPane.style.setProperty('--column', pen.measureText('0').width + 'px');
}

function measureScrollbarWidth() {
  desc_tblPane.style.overflow = 'scroll';
  scrollbarWidth = desc_tblPane.offsetWidth - desc_tblPane.clientWidth;
  desc_tblPane.style.overflow = '';
}

// ---- Moving the border between the panes ----

var kResizeAreaWidth = 2;

function processMouseMove(event) {
  event.stopPropagation();
  if (inResize) {
    moveBorder(event.clientX);
    return false;
  }
  const fromBorder = contentPane ? event.clientX - contentPane.getBoundingClientRect().left : -1;
  const within = fromBorder >= 0 && fromBorder <= kResizeAreaWidth;
  if (within !== inResizeArea) {
    inResizeArea = within;
    document.body.style.cursor = within ? 'move' : '';
  }
  return true;
}

function moveBorder(x) {
  desc_tblPane.style.width = x + 'px';
  desc_tblInner.style.width = x + 'px';
  contentPane.style.left = x + 'px';
}

/** Returns false where the browser must not begin to select text. */
function processMouseDown(event) {
  if (inResize) {  // the button was let go outside the window
    inResize = false;
    return true;
  }
  if (!inResizeArea || !isPlainClick(event) || anyMenuOpen()) return true;
  inResize = true;
  return false;
}

function processMouseUp() {
  inResize = false;
  return true;
}
