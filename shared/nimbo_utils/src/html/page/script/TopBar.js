// ---- The buttons of the bar ----

var barToggles = {view: toggleView, box: toggleBox, legend: toggleLegend};

function processButton(form) {
  const name = form.getAttribute('name');
  idIter(name, barToggles[name]);
}

/** The button names the view that a press leads to. */
function toggleView(button) {
  const prefix = button.value === 'Prefix';
  button.value = prefix ? 'Infix' : 'Prefix';
  for (const obj of allContent) setPrefixInfix(obj, prefix);
}

/** From no boxes to boxes around whole expressions, then around every part, then back. */
function toggleBox(button) {
  switch (button.value) {
    case 'Box':
      boxAll('top-expr', true);
      button.value = 'Box all';
      break;
    case 'Box all':
      boxAll('top-expr', false);
      boxAll('expr', true);
      button.value = 'Unbox';
      break;
    default:
      boxAll('expr', false);
      button.value = 'Box';
  }
}

function boxAll(cl, boxed) {
  for (const obj of contentPane.getElementsByClassName(cl)) {
    if (firstClass(obj) === cl) setBox(obj, boxed);
  }
}

function toggleLegend(button) {
  if (!legendPane) return;
  const show = button.value === 'Legend';
  legendPane.style.display = show ? 'block' : 'none';
  button.value = show ? 'No legend' : 'Legend';
  resizeDescTbl();
}

// ---- The address box ----

/** Returns false for the key that ends the input: the form is not to be sent anywhere. */
function processKeyPress(input, event) {
  if ((event.keyCode || event.which) !== 13) return true;
  processFormInput(input.value);
  return false;
}

function processFormInput(text) {
  const obj = text.length < 2 ? null : findAddress(text);
  if (obj) {
    doColor(obj);
  } else {
    alert('Could not find address ' + text);
  }
}

/** The first object that names the thing at this address; of a thing that nothing names, its description. */
function findAddress(text) {
  const address = checkAddress(text);
  const id = address ? briefAddressId(address) || fullAddressId(address) : '';
  return objectsOfId(reclassId(id, 'entry'))[0] || objectsOfId(id)[0] || null;
}

/** The address in its usual form; empty if this is none. The letter s at both ends is dropped, as it always was. */
function checkAddress(text) {
  const address = text.replace(/^s+/, '').replace(/s+$/g, '').toLowerCase();
  const wellFormed = /^(?:(?:file-scope|func-scope)#[0-9]+:[a-z-]+(?:#[0-9]+)?|[0-9]+:[0-9]+-[0-9]+)$/;
  return wellFormed.test(address) ? address : '';
}

/** For an address that is the stem of an id. */
function briefAddressId(address) {
  const id = class2char.desc + address;
  return isInDocument(id) || loadDesc(id) ? id : '';
}

/** For an address that just one description shows. */
function fullAddressId(address) {
  for (const id of Object.keys(descDefs)) {
    if (descDefs[id].includes('>' + address + '<') && !isInDocument(id)) loadDesc(id);
  }
  if (!descAddrs) descAddrs = document.getElementsByClassName('descAddr');
  const found = Array.from(descAddrs).filter((obj) => obj.textContent === address);
  return found.length === 1 ? found[0].id : '';
}
