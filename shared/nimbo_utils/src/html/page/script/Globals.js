// The script of a report page. It is one script in several files, which the build joins in a fixed order (this one
// first); there are no modules, since a page opened from a file cannot load any.
//
// The page holds many views of one thing: the entries that mention it, the expander and the span of its children in the
// tree, its description in the table. All their ids are one letter, which tells the view, and one stem, which tells the
// thing (class2char, reclassId). Objects that bear the same id are called clones.
//
// Answers that cost something to find are kept as fields on the objects of the document: xDesc, xClones and the like.
'use strict';

// ---- State ----
// Declared with var: the script that holds the descriptions assigns to descDefs, and a console can look at the rest.

var documentIdMap = Object.create(null);  // id -> all objects that bear it, in the order of the document
var descDefs = {};                        // id of a description -> its HTML text; replaced by the page's own

var contentPane = null;
var desc_tblPane = null;
var desc_tblInner = null;
var legendPane = null;
var colorMenu = null;
var colorList = null;
var colorShadow = null;
var contextMenu = null;
var contextList = null;
var contextShadow = null;
var allContent = [];  // all descendants of the content pane; a live collection once the page is loaded
var scrollbarWidth = 0;

var debug = false;     // true: the console is told what the script passes over in silence
var eventCounter = 1;  // raised after each handled click: what has clones acts only once per click

var activeColorSet = 0;  // index into brewerArray
var colorArray = [];     // the colours of the active set; colour number n, from 1, is at n - 1
var complementaryColorArray = [];  // for each of them the colour of the text on it
var coloredObjs = {};              // colour number -> the objects that bear it
var usedColors = [];               // colour numbers in the order in which they were taken
var colorPool = [];                // colour numbers that are free, the next one first
var colorIndex = 0;                // the colour number being applied; 0 is none

var currentUnderMouse = null;
var inResizeArea = false;
var inResize = false;
var shownDescs = 0;  // how many descriptions the table shows

var contextObject = null;  // what the open context menu is about
var descAddrs = null;      // the address fields of the descriptions: a live collection, made on first use
