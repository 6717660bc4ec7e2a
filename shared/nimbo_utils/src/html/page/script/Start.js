// ---- Links into the tree ----

/** Unfolds what hides the anchor of this name, so that the browser can go there. */
function revealAnchor(name) {
  const anchor = document.getElementsByName(name)[0];
  if (!anchor) return;
  for (const tree of treesAround(anchor)) {
    if (isVisible(tree)) continue;
    setVisible(tree, true);
    idIter(reclassId(tree.id, 'expander'), toggleTreeNode);
  }
  contentPane.getBoundingClientRect();  // makes the browser take note before it looks for the anchor itself
}

/** The outermost first: what is asked of a tree in a hidden one makes the browser lay that out. */
function treesAround(obj) {
  const trees = [];
  for (let tree = obj.closest('span.tree'); tree; tree = tree.parentElement.closest('span.tree')) trees.unshift(tree);
  return trees;
}

function followLinks() {
  document.addEventListener('click', (event) => {
    const link = event.target.closest('a[href^="#"]');
    if (link) revealAnchor(link.getAttribute('href').substring(1));
  }, true);
  window.addEventListener('hashchange', goToHash);
  if (location.hash) goToHash();
}

function goToHash() {
  const name = decodeURIComponent(location.hash.substring(1));
  revealAnchor(name);
  const anchor = document.getElementsByName(name)[0];
  if (!anchor) return;
  anchor.scrollIntoView();
  showLineOf(anchor);
}

/** Anchors stand in the first column. The text of their lines may begin far to the right, where nobody would see it. */
function showLineOf(anchor) {
  let text = anchor;
  while (text && !['keyword', 'entry'].includes(text.className)) text = text.nextElementSibling;
  if (!text) return;
  const pane = contentPane.getBoundingClientRect();
  const box = text.getBoundingClientRect();
  if (box.right > pane.right) contentPane.scrollLeft += box.left - pane.left - pane.width / 4;
}

// ---- What a reader who cannot see the page is told ----

function describePage() {
  document.documentElement.lang = 'en';
  document.title = decodeURIComponent(location.pathname.split('/').pop()).replace(/\.html?$/, '') || 'Model';
  describe(contentPane, 'main', 'Tree of the model');
  describe(desc_tblPane, 'complementary', 'Descriptions');
  describe(legendPane, 'note', 'Legend');
  describe(colorList, 'menu', 'Colour sets');
  describe(contextList, 'menu', 'Options');
  for (const input of document.querySelectorAll('.address')) input.setAttribute('aria-label', 'Address');
  for (const input of document.querySelectorAll('.feedback')) input.setAttribute('aria-label', 'Feedback');
}

function describe(obj, role, label) {
  if (!obj) return;
  obj.setAttribute('role', role);
  obj.setAttribute('aria-label', label);
}

// ---- Loading ----

document.documentElement.className = 'loading';

function initAll() {
  try {
    readPage();
  } finally {
    document.documentElement.className = '';  // whatever went wrong, the tree is there to be seen
  }
  preparePanes();
  prepareColors();
  enableKeys();
  describePage();
  followLinks();
}

function readPage() {
  populateDocumentIdMap();
  recoverDescriptions();
  cutTreeIntoBlocks();
  if (contentPane) allContent = contentPane.getElementsByTagName('*');
  if (contentPane && allContent.length === 0) contentPane.classList.add('empty');
  if (desc_tblInner) countShownDescs(0);
}

function prepareColors() {
  populateColorList();
  activateColorSet(28);
  fillColorPool();
  markActiveColorSet();
}

function preparePanes() {
  if (desc_tblPane) measureScrollbarWidth();
  if (contentPane) measureColumn();
  idIter('oFeedback', (box) => { box.value = ''; });
  resizeDescTbl();
  window.onresize = resizeDescTbl;
}
