// The page of Bloch states: potential, densities and phases side by side over the projected cell.

class BlochPage {
    constructor() {
        this.state = { map: 'viridis', gamma: 1, reversed: false, common: false, width: 15 };
        this.maps = [];
        this.rasters = [];
        // The length of a base vector, in A where the cell is known.
        this.scale = data.g1 ? 1 / data.g1 : 1;
        this.unit = data.g1 ? '\u00c5' : '';
        this.panels = el('div', { className: 'panels' });
        this.readout = el('p', { className: 'readout', role: 'status', id: 'readout' });
        document.getElementById('main').append(
            el('div', { className: 'view' }, this.panels, this.readout),
            el('div', { className: 'settings' }, ...this.settings()));
        showFacts([...data.facts, ['Base vectors', data.g1 ?
            `${number(1 / data.g1)} \u00c5 each, perpendicular` : 'equally long, perpendicular']]);
        this.build();
        this.changed();
    }

    settings() {
        const set = (name) => (value) => {
            this.state[name] = value;
            this.changed();
        };
        const groups = [group('Brightness', slider('Gamma', { id: 'gamma', min: 0.1, max: 3,
            step: 0.05, value: 1, text: (v) => number(v, 3) }, set('gamma')).node,
        check('Densities in one range', 'common', false, set('common')),
        check('Reversed contrast', 'reversed', false, set('reversed')),
        mapChoice(this.state.map, set('map'))),
        group('View', slider('Panel width', { id: 'panel-width', min: 12, max: 48, step: 0.5, value: 15,
            text: (v) => `${v} em` }, set('width')).node)];
        if (data.list.length > 0) {
            groups.push(el('details', { open: data.list.length < 12 },
                el('summary', { textContent: `All ${data.list.length} branches` }),
                table(['branch', 'Re \u03bb', 'Im \u03bb', '|\u03b1|\u00b2'], data.list.map((row) =>
                    [String(row[0]), ...row.slice(1).map((v) => number(v, 4))]))));
        }
        return groups;
    }

    // The range of all densities, or of one.
    densityRange(values) {
        return extent(this.state.common ? data.states.map((s) =>
            block('density' + s.branch, Float32Array)) : [values]);
    }

    build() {
        const pair = () => {
            const box = el('div', { className: 'pair' });
            this.panels.append(box);
            return box;
        };
        const potentials = pair();
        this.add(potentials, 'Potential, real part (V)', 'potential-re', (values) => extent([values]), false, 'V', 'elastic');
        this.add(potentials, 'Potential, imaginary part (V)', 'potential-im', (values) => extent([values]), false, 'V',
            'absorptive');
        for (const state of data.states) {
            const title = `Branch ${state.branch}`;
            const small = `\u03bb = ${number(state.eigenvalue, 4)} 1/\u00c5\u00b2, |\u03b1|\u00b2 = ${number(state.excitation, 4)}`;
            const maps = pair();
            this.add(maps, `${title}, density`, 'density' + state.branch,
                (values) => this.densityRange(values), false, '', small);
            this.add(maps, `${title}, phase (rad)`, 'phase' + state.branch,
                () => [-Math.PI, Math.PI], true, '', 'undefined where the density is 0');
        }
    }

    // A map into a pair of maps.
    add(pair, title, name, range, cyclic, unit, small) {
        const raster = new Raster(title);
        raster.box.dataset.block = name;
        const values = block(name, Float32Array);
        const [nx, ny] = [data.nx, data.ny];
        pair.append(el('figure', {}, el('figcaption', {}, title,
            el('br'), el('small', { textContent: small })), raster.box));
        raster.onPoint = (at) => this.point(at);
        this.rasters.push({ raster, title, values });
        const unitText = this.unit ? ` (${this.unit})` : '';
        this.maps.push(() => {
            const [low, high] = range(values);
            const colours = cyclic ? phaseTable : colourTables[this.state.map];
            const paint = painter(colours, { min: low, max: high, gamma: cyclic ? 1 : this.state.gamma,
                reversed: !cyclic && this.state.reversed, log: false });
            raster.set({ nx, ny, x: data.x.map((v) => v * this.scale), y: data.y.map((v) => v * this.scale),
                xLabel: 'x' + unitText, yLabel: 'y' + unitText,
                colour: (column, line) => paint(values[column * ny + line]),
                value: (column, line) => values[column * ny + line],
                bar: { table: colours, low: cyclic ? '\u2212\u03c0' : rangeText(low, high),
                    high: cyclic ? '\u03c0' : rangeText(high, low), label: unit,
                    reversed: !cyclic && this.state.reversed } });
        });
    }

    // One place in all maps.
    point(at) {
        for (const { raster } of this.rasters) {
            raster.cursor = at;
            raster.draw();
        }
        if (!at) {
            this.readout.textContent = '';
            return;
        }
        const axis = (range, n, i) => this.scale *
            (n > 1 ? range[0] + (range[1] - range[0]) * i / (n - 1) : range[0]);
        this.readout.textContent = `x, y = ${number(axis(data.x, data.nx, at.x), 4)}, ` +
            `${number(axis(data.y, data.ny, at.y), 4)} ${this.unit}   ` + this.rasters.map(({ title, values }) =>
            `${title}: ${number(values[at.x * data.ny + at.y])}`).join('   ');
    }

    changed() {
        this.panels.style.setProperty('--panel-width', `${2 * this.state.width}rem`);
        this.maps.forEach((map) => map());
    }
}
