// The page of dispersion surfaces: branches against the tilt with their excitation as weight,
// amplitudes and intensities beside them; maps for an area of tilts.

const surface = {};
surface.prepare = function () {
    Object.assign(this, {
        H: block('H', Float64Array), G: block('G', Float64Array), Kn: block('Kn', Float64Array),
        kn: block('kn', Float64Array), knIm: block('kn-im', Float32Array),
        gamma: block('gamma', Float32Array), gammaIm: block('gamma-im', Float32Array),
        excitation: block('excitation', Float32Array), amplitude: block('amplitude', Float32Array),
        phase: block('phase', Float32Array), intensity: block('intensity', Float32Array),
    });
};

// Quantities of a branch at a point.
const branchQuantities = {
    gamma: { name: '\u03b3 (1/\u00c5\u00b2)', of: (p, j) => surface.gamma[p * data.branches + j] },
    dk: { name: 'k_n \u2212 K_n (1/\u00c5)', double: true,
        of: (p, j) => surface.kn[p * data.branches + j] - surface.Kn[p] },
    kn: { name: 'k_n (1/\u00c5)', double: true, of: (p, j) => surface.kn[p * data.branches + j] },
    excitation: { name: 'excitation |\u03b1|\u00b2',
        of: (p, j) => surface.excitation[p * data.branches + j] },
    gammaIm: { name: 'Im \u03b3 (1/\u00c5\u00b2)', of: (p, j) => surface.gammaIm[p * data.branches + j] },
};

class DispsurfPage {
    constructor() {
        this.state = { quantity: 'gamma', weighted: true, g: 0, wave: 'amplitude', t: 0, log: false,
            map: 'viridis' };
        this.branches = Array.from({ length: data.branches }, (_, j) => j);
        this.points = Array.from({ length: data.points }, (_, p) => p);
        this.shown = new Set(this.branches);
        this.reflectionsShown = new Set(data.reflections.map((_, o) => o).slice(0, 8));
        this.line = data.side === data.points;
        this.view = el('div', { className: 'view' });
        // The list of a single tilt holds all that there is.
        document.getElementById('main').append(this.view,
            el('div', { className: 'settings' }, ...(data.points > 1 ? this.settings() : [])));
        showFacts([...data.facts, ...(data.points === 1 ?
            [['Tilt (H, G)', `(${number(surface.H[0])}, ${number(surface.G[0])})`]] :
            this.line ? [['G', number(surface.G[0])]] : [])]);
        this.line && data.points > 1 ? this.buildPlots() : data.points > 1 ? this.buildMaps() :
            this.buildList();
        this.changed();
    }

    branchName(j) {
        return `branch ${data.branchBegin + j}`;
    }

    settings() {
        const set = (name, convert = (v) => v) => (value) => {
            this.state[name] = convert(value);
            this.changed();
        };
        const names = (quantity) => Object.fromEntries(Object.entries(quantity).map(([key, q]) => [key, q.name]));
        const groups = [group('Branches', choice('Axis', 'quantity', names(branchQuantities),
            this.state.quantity, set('quantity')),
        ...(this.line ? [check('Excitation as weight', 'weighted', true, set('weighted'))] : []))];
        if (data.reflections.length > 0) {
            groups.push(group('Amplitudes', choice('Reflection', 'reflection',
                Object.fromEntries(data.reflections.map((hkl, o) => [o, hklText(hkl)])), 0, set('g', Number)),
            choice('Show', 'wave', { amplitude: 'Modulus |\u03b1C|', phase: 'Phase' }, 'amplitude', set('wave'))));
        }
        if (data.reflections.length > 0 && data.thicknesses.length > 0) {
            const last = data.thicknesses.length - 1;
            const thickness = slider('Thickness', { id: 'thickness', min: 0, max: last, step: 1,
                value: 0, text: (t) => thicknessText(data.thicknesses[t]) }, set('t'));
            thickness.input.disabled = last === 0;
            groups.push(group('Intensities', thickness.node,
                ...(this.line ? [check('Logarithmic', 'log', false, set('log'))] : [])));
        }
        if (!this.line) {
            groups.push(group('Colours', mapChoice(this.state.map, set('map'))));
        }
        return groups;
    }

    amplitudeOf(p, o, j) {
        const values = this.state.wave === 'phase' ? surface.phase : surface.amplitude;
        return values[(p * data.reflections.length + o) * data.branches + j];
    }

    intensityOf(p, o) {
        return surface.intensity[(p * data.reflections.length + o) * data.thicknesses.length + this.state.t];
    }

    buildPlots() {
        const figure = (plot, title, ...more) => el('figure', {},
            el('figcaption', { textContent: title }), plot.box, plot.readout, ...more);
        this.surfacePlot = new Plot('Dispersion surface');
        this.amplitudePlot = new Plot('Branch amplitudes');
        this.intensityPlot = new Plot('Intensities');
        const side = [];
        if (data.reflections.length > 0) {
            side.push(figure(this.amplitudePlot, 'Branch amplitudes of the reflection'));
            if (data.thicknesses.length > 0) {
                side.push(figure(this.intensityPlot, 'Intensities',
                    chips(data.reflections.map(hklText), this.reflectionsShown, () => this.changed())));
            }
        }
        const left = figure(this.surfacePlot, 'Dispersion surface', chips(this.branches.map((j) =>
            this.branchName(j)), this.shown, () => this.changed()));
        left.classList.add('tall');
        this.view.append(el('div', { className: 'columns' }, left, el('div', { className: 'panels',
            style: '--panel-width: 100%' }, ...side)));
    }

    changed() {
        if (this.surfacePlot) {
            this.changePlots();
        } else if (this.maps) {
            this.maps.forEach((map) => map());
        }
    }

    changePlots() {
        const H = Array.from(surface.H);
        const branches = this.branches.filter((j) => this.shown.has(j));
        const quantity = branchQuantities[this.state.quantity];
        const xLabel = 'tilt H (half base vectors)';
        this.surfacePlot.set({ xLabel, yLabel: quantity.name, series: branches.map((j) => ({
            name: this.branchName(j), colour: seriesColour(j), x: H,
            y: this.points.map((p) => quantity.of(p, j)),
            weight: this.state.weighted ?
                this.points.map((p) => branchQuantities.excitation.of(p, j)) : undefined })) });
        if (data.reflections.length > 0) {
            const name = hklText(data.reflections[this.state.g]);
            this.amplitudePlot.set({ xLabel,
                yLabel: this.state.wave === 'phase' ? `phase of \u03b1C, ${name} (rad)` : `|\u03b1C|, ${name}`,
                series: branches.map((j) => ({ name: this.branchName(j), colour: seriesColour(j), x: H,
                    y: this.points.map((p) => this.amplitudeOf(p, this.state.g, j)) })) });
        }
        if (data.reflections.length > 0 && data.thicknesses.length > 0) {
            this.intensityPlot.set({ xLabel, yLabel: `intensity, ${thicknessText(data.thicknesses[this.state.t])}`,
                log: this.state.log,
                series: [...this.reflectionsShown].sort((a, b) => a - b).map((o) => ({
                    name: hklText(data.reflections[o]), colour: seriesColour(o), x: H,
                    y: this.points.map((p) => this.intensityOf(p, o)) })) });
        }
    }

    // One map: `value(p)` now, and its name.
    addMap(panels, name, value, cyclic) {
        const raster = new Raster(name);
        const readout = el('p', { className: 'readout', role: 'status' });
        panels.append(el('figure', {}, el('figcaption', { textContent: name }), raster.box, readout));
        const n = data.side;
        const rows = data.points / n;
        const repeated = surface.H[n - 1] === surface.H[0];
        raster.onPoint = (at) => {
            const p = at ? at.y * n + at.x : 0;
            readout.textContent = at ?
                `(H, G) = (${number(surface.H[p], 4)}, ${number(surface.G[p], 4)}): ${number(value(p), 6)}` : '';
        };
        this.maps.push(() => {
            const values = this.points.map(value);
            const phases = cyclic && this.state.wave === 'phase';
            const [low, high] = phases ? [-Math.PI, Math.PI] : extent([values]);
            const colours = phases ? phaseTable : colourTables[this.state.map];
            const paint = painter(colours, { min: low, max: high, gamma: 1, reversed: false, log: false });
            raster.set({ nx: n, ny: rows,
                x: repeated ? [1, n] : [surface.H[0], surface.H[n - 1]],
                y: repeated ? [1, rows] : [surface.G[0], surface.G[data.points - 1]],
                xLabel: repeated ? 'point' : 'H', yLabel: repeated ? 'row' : 'G',
                colour: (column, line) => paint(values[line * n + column]),
                value: (column, line) => values[line * n + column],
                bar: { table: colours, low: rangeText(low, high), high: rangeText(high, low) } });
        });
    }

    buildMaps() {
        this.maps = [];
        const section = (title) => {
            const panels = el('div', { className: 'panels' });
            this.view.append(el('h2', { textContent: title }), panels);
            return panels;
        };
        const surfaces = section('Branches');
        this.branches.forEach((j) => this.addMap(surfaces, this.branchName(j),
            (p) => branchQuantities[this.state.quantity].of(p, j)));
        if (data.reflections.length > 0) {
            const amplitudes = section('Branch amplitudes of the reflection');
            this.branches.forEach((j) => this.addMap(amplitudes, this.branchName(j),
                (p) => this.amplitudeOf(p, this.state.g, j), true));
        }
        if (data.reflections.length > 0 && data.thicknesses.length > 0) {
            const intensities = section('Intensities');
            data.reflections.forEach((hkl, o) => this.addMap(intensities, hklText(hkl),
                (p) => this.intensityOf(p, o)));
        }
    }

    buildList() {
        this.view.append(table(['branch', ...Object.values(branchQuantities).map((q) => q.name),
            ...data.reflections.map((hkl) => `|\u03b1C|, ${hklText(hkl)}`)],
        this.branches.map((j) => [String(data.branchBegin + j),
            ...Object.values(branchQuantities).map((q) => number(q.of(0, j), q.double ? 9 : 6)),
            ...data.reflections.map((_, o) => number(this.amplitudeOf(0, o, j)))])),
        table(['g', ...data.thicknesses.map((t) => `intensity, ${thicknessText(t)}`)],
            data.reflections.map((hkl, o) => [hklText(hkl), ...data.thicknesses.map((_, t) =>
                number(surface.intensity[o * data.thicknesses.length + t], 6))])));
    }
}

function startDispsurf() {
    surface.prepare();
    return new DispsurfPage();
}
