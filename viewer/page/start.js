// A page that a browser saved as it stood holds what it showed.
largeDialog.removeAttribute('open');
document.getElementById('main').replaceChildren();
// Builds the page that the data ask for; the tests find it by its name.
const kavunPage = ({ cbed: startCbed, coherent: startCbed, dispsurf: startDispsurf, bloch: () => new BlochPage() })[data.kind]();
