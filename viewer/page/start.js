// Builds the page that the data ask for.
({ cbed: startCbed, coherent: startCbed, dispsurf: startDispsurf, bloch: () => new BlochPage() })[data.kind]();
