// Builds the page that the data ask for.
({ cbed: startCbed, coherent: startCbed, dispsurf: () => new DispsurfPage(), bloch: () => new BlochPage() })[data.kind]();
