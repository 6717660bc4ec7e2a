// ---- Descriptions ----
// A description is text until it is first needed: a document that held them all from the start would be very large.

/** The description of the thing of `obj`, loaded if need be: a list of one object, or of none. */
function getDesc(obj) {
  if (!obj.xDesc) {
    const id = reclassId(obj.id, 'desc');
    const desc = isInDocument(id) ? documentIdMap[id][0] : loadDesc(id);
    obj.xDesc = desc ? [desc] : [];
  }
  return obj.xDesc;
}

/** Puts the description of this id into the table, hidden, and returns its object; null if there is no such text. */
function loadDesc(id) {
  if (!Object.hasOwn(descDefs, id)) return null;
  const desc = appendToTable(descDefs[id].replaceAll('&nbsp;', ' '));  // so that long texts break between words
  if (!desc) return null;
  addObjToMap(desc);
  for (const obj of desc.getElementsByTagName('*')) {
    addObjToMap(obj);
    adoptColor(obj);
  }
  return desc;
}

/** Returns the object that the text became. */
function appendToTable(text) {
  if (!desc_tblInner) return null;
  const last = desc_tblInner.lastElementChild;
  if (last) {
    last.insertAdjacentHTML('afterend', text);
    return last.nextElementSibling;
  }
  desc_tblInner.innerHTML = text;
  return desc_tblInner.firstElementChild;
}

// ---- Reading the descriptions when the browser could not ----
// The descriptions come as a script, in which a backslash of the model's text stands as it is. So "\u" or "\x" in a
// text can make the whole script an error, and "C:\temp" would be shown with a tab. This reader knows what the printer
// writes: a backslash is the printer's own within markup and before a control character, else it is the model's.

// A syntax error while the page is being read is that script's. The reader makes up for it, so nobody needs to see it.
window.addEventListener('error', (event) => {
  if (event.error instanceof SyntaxError && document.readyState === 'loading' && !debug) event.preventDefault();
});

/** Reads the text of the descriptions anew where the browser's reading of it is wrong or missing. */
function recoverDescriptions() {
  const script = desc_tblInner ? desc_tblInner.querySelector('script') : null;
  const text = script ? script.textContent : '';
  const arrived = Object.hasOwn(descDefs, 'Ddummy');
  if (arrived && !/\\[^\0-\x1f"\ufffd]/.test(text)) return;
  if (debug) console.info('The descriptions were read by the page itself.');
  descDefs = readDescriptions(text);
}

/** All descriptions of the block `text`, which may be cut short anywhere. */
function readDescriptions(text) {
  const head = '\'Ddummy\': "';
  const start = text.indexOf(head);
  if (start < 0) return {};
  // Only the printer's own line ends stand without a backslash, so this cannot be found in an entry.
  const parts = text.substring(start + head.length).split(/",\n'(D[^\n]*?)': "/);
  const defs = {Ddummy: ''};
  for (let i = 1; i < parts.length; i += 2) defs[parts[i]] = decodeDescription(parts[i + 1]);
  return defs;
}

function decodeDescription(literal) {
  const end = literal.search(/(?<!\\)\n/);  // after the last entry comes the end of the script
  const text = end < 0 ? literal : literal.substring(0, end).replace(/"$/, '');
  return text.replace(/<[^>]*>|\\[\0-\x1f\ufffd]/g, (piece) => piece.replace(/\\([^])/g, unescapeOne));
}

function unescapeOne(_, ch) {
  return ch === '\n' ? '' : ch;  // a line continuation
}
