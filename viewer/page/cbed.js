// The page of a CBED run over an area of tilts, incoherent or coherent: discs with a thickness
// slider. The values of all CBED runs are read here.

const cbed = {
    coherent: data.kind === 'coherent',
};

// The grid, and the slots of its points inside the disc in the packed values.
cbed.prepare = function () {
    this.H = block('H', Float32Array);
    this.G = block('G', Float32Array);
    this.inside = block('inside', Uint8Array);
    this.slot = new Int32Array(this.inside.length).fill(-1);
    this.count = 0;
    this.inside.forEach((inside, p) => {
        if (inside) {
            this.slot[p] = this.count++;
        }
    });
};

const quantities = {
    intensity: {
        name: 'Intensity', symbol: 'I',
        of: (re, im) => cbed.coherent ? re * re + im * im : re,
    },
    modulus: { name: 'Modulus', symbol: '|\u03c8|', of: (re, im) => Math.hypot(re, im) },
    phase: { name: 'Phase', symbol: 'phase', of: (re, im) => Math.atan2(im, re) },
    sum: { name: 'Sum of overlapping discs', symbol: 'I' },
};

// The value of a quantity for a thickness, a reflection and a point; undefined outside the disc.
cbed.value = function (quantity, t, r, p) {
    const slot = this.slot[p];
    if (slot < 0) {
        return undefined;
    }
    const at = r * this.count + slot;
    const re = block('re' + t, Float32Array)[at];
    return quantities[quantity].of(re, this.coherent ? block('im' + t, Float32Array)[at] : 0);
};

// A tilt that is 0 but for rounding.
function settled(tilt) {
    return Math.abs(tilt) < 1e-6 ? 0 : tilt;
}

// How many times further apart the discs would have to stand so that none overlaps; 1 where none
// does. Discs at one place (of two Laue zones) cannot be parted and do not count.
cbed.parting = function () {
    let nearest = Infinity;
    data.xs.forEach((x, i) => data.ys.slice(0, i).forEach((y, j) => {
        const distance = Math.hypot(x - data.xs[j], data.ys[i] - y);
        nearest = distance > 1 ? Math.min(nearest, distance) : nearest;
    }));
    return Math.max(1, data.side / nearest);
};

// Overlapping discs, each moved to the nearest whole sample: sums of amplitudes, squared, or of
// intensities. No value is interpolated.
cbed.sum = function (t) {
    const n = data.side;
    const left = data.xs.map(Math.round);
    const bottom = data.ys.map(Math.round);
    const low = [Math.min(...left), Math.min(...bottom)];
    const nx = Math.max(...left) - low[0] + n;
    const ny = Math.max(...bottom) - low[1] + n;
    const re = new Float32Array(nx * ny);
    const im = new Float32Array(nx * ny);
    const discs = new Uint16Array(nx * ny);
    const valuesRe = block('re' + t, Float32Array);
    const valuesIm = this.coherent ? block('im' + t, Float32Array) : null;
    for (let r = 0; r < left.length; ++r) {
        const corner = (bottom[r] - low[1]) * nx + left[r] - low[0];
        for (let p = 0; p < this.slot.length; ++p) {
            if (this.slot[p] >= 0) {
                const cell = corner + Math.floor(p / n) * nx + p % n;
                const at = r * this.count + this.slot[p];
                re[cell] += valuesRe[at];
                im[cell] += valuesIm ? valuesIm[at] : 0;
                ++discs[cell];
            }
        }
    }
    const values = this.coherent ? re.map((v, i) => v * v + im[i] * im[i]) : re;
    return { nx, ny, values, discs, left: low[0] - n / 2, bottom: low[1] - n / 2,
        rounding: Math.max(...data.xs.map((x, i) => Math.max(Math.abs(x - left[i]),
            Math.abs(data.ys[i] - bottom[i])))) };
};

class CbedPage {
    constructor() {
        const first = data.images[0];
        this.state = { t: 0, quantity: cbed.coherent && cbed.parting() > 1 ? 'sum' : 'intensity',
            apart: false, gamma: first.gamma, min: first.min,
            max: first.max, reversed: first.reversed, log: false, map: 'grey', labels: true,
            outlines: true, weighted: false, range: 'first', chosen: null };
        this.sums = new Map();
        document.body.classList.add('one-screen');
        this.stage = el('div', { className: 'stage' });
        this.readout = el('p', { className: 'readout', role: 'status', id: 'readout' });
        this.profile = new Plot('Profile along the dragged line');
        this.profileBox = el('div', { className: 'profile', hidden: true, id: 'profile' }, this.profile.box);
        this.profile.box.style.height = '100%';
        this.note = el('p', { className: 'note', id: 'note' });
        this.view = new PatternView(this.stage);
        this.view.magnification = first.magnification;
        this.view.onPoint = (at) => this.hover(at);
        this.view.onClick = (at) => this.open(this.sampleAt(at));
        this.view.onProfile = (line) => this.showProfile(line);
        this.view.onZoom = (magnification) => this.magnification.show(magnification);
        onKey(this.view.canvas, (event) => this.key(event));
        document.getElementById('main').append(
            el('div', { className: 'view' }, this.stage, this.readout, this.profileBox),
            el('div', { className: 'settings' }, ...this.settings()));
        this.changed();
    }

    settings() {
        const state = this.state;
        const set = (name) => (value) => {
            state[name] = value;
            this.changed();
        };
        this.magnification = slider('Magnification', { id: 'magnification', min: 0.25, max: 16,
            step: 0.25, value: data.images[0].magnification, text: (v) => number(v, 3) + '\u00d7' },
        (value) => {
            this.view.magnification = value;
            this.view.draw();
        });
        this.gamma = slider('Gamma', { id: 'gamma', min: 0.1, max: 3, step: 0.05,
            value: state.gamma, text: (v) => number(v, 3) }, set('gamma'));
        this.min = numberInput('min', state.min, (v) => this.ownRange('min', v));
        this.max = numberInput('max', state.max, (v) => this.ownRange('max', v));
        const shown = cbed.coherent ?
            { sum: 'Coherent sum', intensity: 'Intensity', modulus: 'Modulus', phase: 'Phase' } :
            { intensity: 'Discs', sum: 'Sum of discs' };
        return [
            this.thicknessGroup(),
            group('Show', choice('Quantity', 'quantity', shown, state.quantity, set('quantity')),
                ...(cbed.coherent ? [check('Phase darkened by modulus', 'weighted', state.weighted,
                    set('weighted'))] : []),
                ...(cbed.parting() > 1 ? [check('Discs apart', 'apart', state.apart, (apart) => {
                    state.apart = apart;
                    this.clearProfile();
                    this.pointed = null;
                    this.view.cursor = null;
                    this.changed();
                })] : []),
                check('hkl labels', 'labels', state.labels, set('labels')),
                check('Disc outlines', 'outlines', state.outlines, set('outlines')), this.note),
            group('Brightness', this.gamma.node, row('Dark at', this.min), row('Bright at', this.max),
                el('div', { className: 'buttons' },
                    button('Range of file', 'range-file', () => {
                        state.range = 'file';
                        this.changed();
                    }),
                    button('Range of view', 'range-view', () => this.rangeOfView())),
                check('Reversed contrast', 'reversed', state.reversed, set('reversed')),
                check('Logarithmic', 'log', state.log, set('log')),
                mapChoice(state.map, set('map'))),
            group('View', this.magnification.node, el('div', { className: 'buttons' },
                button('Fit', 'fit', () => this.view.fit()),
                button('Clear profile', 'clear-profile', () => this.clearProfile()))),
            el('details', {}, el('summary', { textContent: 'Mouse and keys' }),
                el('p', { textContent: 'Click a disc: large view. Drag: line profile. Wheel: zoom. ' +
                    'Shift and drag: move the pattern.' }),
                el('p', { textContent: 'On the pattern: arrows move over samples, N and B change ' +
                    'the disc, Enter opens it, P marks the two ends of a profile, + and \u2212 zoom, ' +
                    '0 fits, [ and ] change the thickness.' })),
        ];
    }

    thicknessGroup() {
        const last = data.images.length - 1;
        this.thickness = slider('Thickness', { id: 'thickness', min: 0, max: last, step: 1, value: 0,
            text: (t) => thicknessText(data.images[t].thickness) }, (t) => this.setThickness(t));
        this.thickness.input.disabled = last === 0;
        return group(last === 0 ? 'Thickness' : `${last + 1} thicknesses`, this.thickness.node);
    }

    setThickness(t) {
        this.state.t = Math.max(0, Math.min(data.images.length - 1, t));
        this.thickness.show(this.state.t);
        this.changed();
    }

    ownRange(name, value) {
        this.state[name] = value;
        this.state.range = 'own';
        this.changed();
    }

    // The range of what is shown now.
    rangeOfView() {
        [this.state.min, this.state.max] = this.shownRange();
        this.state.range = 'own';
        this.changed();
    }

    shownRange() {
        const { quantity, t } = this.state;
        let values = quantity === 'sum' ? this.sumOf(t).values : [];
        if (quantity !== 'sum') {
            const measure = quantity === 'phase' || quantity === 'modulus' ? 'modulus' : 'intensity';
            values = block('re' + t, Float32Array).map((re, i) => quantities[measure].of(re,
                cbed.coherent ? block('im' + t, Float32Array)[i] : 0));
            if (measure === 'modulus') {
                values = values.map((v) => v * v);
            }
        }
        return extent([values]);
    }

    sumOf(t) {
        if (!this.sums.has(t)) {
            this.sums.clear();
            this.sums.set(t, cbed.sum(t));
        }
        return this.sums.get(t);
    }

    painter() {
        const { quantity, min, max, gamma, reversed, log, map } = this.state;
        const root = quantity === 'modulus';
        const range = (v) => root ? Math.sqrt(Math.max(0, v)) : v;
        const low = range(min);
        const high = Math.max(range(max), low + 1e-9 * Math.abs(low) + 1e-30);
        return painter(colourTables[map], { min: low, max: high, gamma, reversed, log });
    }

    // The packed colour of a reflection's points, 0 outside the disc.
    colourOf(r) {
        const { quantity, t, weighted, min, max, gamma, log } = this.state;
        if (quantity === 'phase') {
            const dim = grader({ min, max, gamma, reversed: false, log });
            return (p) => {
                const phase = cbed.value('phase', t, r, p);
                if (!Number.isFinite(phase)) {
                    return phase === undefined ? 0 : notANumber;
                }
                const colour = phaseTable[Math.round(255 * (phase / (2 * Math.PI) + 0.5))];
                const light = weighted ? dim(cbed.value('intensity', t, r, p)) / 255 : 1;
                return packed(...unpacked(colour).map((part) => light * part));
            };
        }
        const paint = this.painter();
        return (p) => {
            const value = cbed.value(quantity, t, r, p);
            return value === undefined ? 0 : paint(value);
        };
    }

    // Centres of the discs as they are drawn.
    place() {
        const spread = this.state.apart && this.state.quantity !== 'sum' ? 1.04 * cbed.parting() : 1;
        this.xs = data.xs.map((x) => spread * x);
        this.ys = data.ys.map((y) => spread * y);
        const corner = (edge, xs, origin) => origin.map((value, i) =>
            value + (spread - 1) * edge(...xs[i]));
        this.low = corner(Math.min, [data.xs, data.ys], data.low);
        this.high = corner(Math.max, [data.xs, data.ys], data.high);
    }

    tiles() {
        const n = data.side;
        if (this.state.quantity === 'sum') {
            const sum = this.sumOf(this.state.t);
            const paint = this.painter();
            const image = rasterImage(sum.nx, sum.ny, (column, line) => {
                const cell = line * sum.nx + column;
                return sum.discs[cell] === 0 ? 0 : paint(sum.values[cell]);
            });
            return [{ left: sum.left, bottom: sum.bottom, nx: sum.nx, ny: sum.ny, image }];
        }
        // The first reflections, 000 before all, are drawn last and so lie on top.
        return data.reflections.map((hkl, r) => {
            const colour = this.colourOf(r);
            return { left: this.xs[r] - n / 2, bottom: this.ys[r] - n / 2, nx: n, ny: n,
                image: rasterImage(n, n, (column, line) => colour(line * n + column)) };
        }).reverse();
    }

    background() {
        const { quantity, reversed, map } = this.state;
        return quantity === 'phase' ? [0, 0, 0] : unpacked(colourTables[map][reversed ? 255 : 0]);
    }

    changed() {
        const state = this.state;
        const image = data.images[state.t];
        // The file's range is that of single discs: sums begin with their own.
        if (state.range === 'first' && state.quantity === 'sum') {
            [state.min, state.max] = this.shownRange();
        } else if (state.range !== 'own') {
            [state.min, state.max] = [image.min, image.max];
        }
        this.min.value = Number(state.min.toPrecision(6));
        this.max.value = Number(state.max.toPrecision(6));
        this.gamma.input.disabled = state.log;
        this.place();
        this.discs = data.reflections.map((hkl, r) => ({ x: this.xs[r], y: this.ys[r], hkl }));
        this.view.set({ tiles: this.tiles(), discs: this.discs, low: this.low, high: this.high,
            background: this.background(), labels: state.labels, outlines: state.outlines,
            chosen: this.discs[state.chosen], radius: (data.side - 1) / 2 + 0.5,
            square: !cbed.inside.includes(0) });
        this.showNote();
        showFacts([...data.facts, ['Thickness', thicknessText(image.thickness)]]);
        if (this.view.line) {
            this.showProfile(this.view.line);
        }
        this.hover(this.pointed);
    }

    clearProfile() {
        this.view.line = null;
        this.profileBox.hidden = true;
        this.view.draw();
    }

    showNote() {
        const { t, quantity } = this.state;
        const im = cbed.coherent ? block('im' + t, Float32Array) : null;
        const bad = block('re' + t, Float32Array).reduce((n, re, i) =>
            n + (Number.isFinite(re) && !(im && !Number.isFinite(im[i])) ? 0 : 1), 0);
        const notes = [];
        if (bad > 0) {
            notes.push(`${bad} values are not numbers (drawn in magenta).`);
        }
        if (quantity === 'sum') {
            const rounding = this.sumOf(t).rounding;
            notes.push('Discs are moved to whole samples, by at most ' +
                `${number(rounding, 2)} of a sample; nothing is interpolated.`);
        }
        if (this.state.apart && quantity !== 'sum') {
            notes.push('Distances between discs are not to scale.');
        }
        if (cbed.H.length > 1 && cbed.H.every((h) => h === cbed.H[0])) {
            notes.push('All tilts of this square are the same.');
        }
        this.note.textContent = notes.join(' ');
    }

    // {r, p} of the sample at a place of the pattern, on the topmost disc or on that of at.r.
    sampleAt(at) {
        const n = data.side;
        const discs = data.reflections.map((_, r) => r);
        for (const r of !at ? [] : at.r === undefined ? discs : [at.r]) {
            const column = Math.floor(at.x - this.xs[r] + n / 2);
            const line = Math.floor(at.y - this.ys[r] + n / 2);
            if (column >= 0 && line >= 0 && column < n && line < n && cbed.inside[line * n + column]) {
                return { r, p: line * n + column };
            }
        }
        return null;
    }

    describe(sample) {
        const { quantity, t } = this.state;
        const { r, p } = sample;
        const [H, G] = [cbed.H[p] + data.tilt[0], cbed.G[p] + data.tilt[1]].map(settled);
        const kx = 0.5 * H * data.g1;
        const ky = 0.5 * G * data.g1;
        const symbol = quantity === 'sum' ? 'intensity' : quantity;
        const parts = [`g = ${hklText(data.reflections[r])}`,
            `tilt (H, G) = (${number(H, 4)}, ${number(G, 4)})`,
            `K_t = (${number(kx, 4)}, ${number(ky, 4)}) 1/\u00c5`];
        if (data.wavelength) {
            parts.push(`${number(1000 * data.wavelength * Math.hypot(kx, ky), 4)} mrad`);
        }
        if (cbed.coherent) {
            parts.push(`|\u03c8| = ${number(cbed.value('modulus', t, r, p))}`,
                `phase = ${number(cbed.value('phase', t, r, p), 4)} rad`);
        }
        parts.push(`${quantities[symbol].symbol} = ${number(cbed.value(symbol, t, r, p), 6)}`);
        return parts.slice(0, cbed.coherent && symbol !== 'intensity' ? -1 : undefined).join('   ');
    }

    hover(at) {
        this.pointed = at;
        const sample = this.sampleAt(at);
        if (this.state.quantity === 'sum' && at) {
            const value = this.sumAt(at);
            const final = [at.x, at.y].map((length, i) =>
                settled(length * data.sample + 0.5 * data.tilt[i] * data.g1));
            tell(this.readout, value === undefined ? '' :
                `K_t + g = (${number(final[0], 4)}, ${number(final[1], 4)}) 1/\u00c5` +
                `   ${value.discs} disc${value.discs === 1 ? '' : 's'}   I = ${number(value.value, 6)}`);
        } else {
            tell(this.readout, sample ? this.describe(sample) : '');
        }
    }

    sumAt(at) {
        const sum = this.sumOf(this.state.t);
        const column = Math.floor(at.x - sum.left);
        const line = Math.floor(at.y - sum.bottom);
        const cell = line * sum.nx + column;
        return column < 0 || line < 0 || column >= sum.nx || line >= sum.ny || !sum.discs[cell] ?
            undefined : { value: sum.values[cell], discs: sum.discs[cell] };
    }

    showProfile(line) {
        const { quantity, t, log } = this.state;
        const samples = lineSamples(line.from, line.to);
        const y = samples.map((at) => {
            if (quantity === 'sum') {
                const value = this.sumAt(at);
                return value ? value.value : NaN;
            }
            const sample = this.sampleAt(at);
            return sample ? cbed.value(quantity, t, sample.r, sample.p) : NaN;
        });
        this.profileBox.hidden = false;
        this.profile.set({ xLabel: 'distance (1/\u00c5)', yLabel: quantities[quantity].name,
            log: log && quantity !== 'phase',
            series: [{ name: quantities[quantity].symbol, colour: seriesColour(0),
                x: samples.map((s) => s.distance * data.sample), y }] });
    }

    open(sample) {
        if (!sample) {
            return;
        }
        this.state.chosen = sample.r;
        const { t } = this.state;
        const quantity = this.state.quantity === 'sum' ? 'intensity' : this.state.quantity;
        const n = data.side;
        const raster = new Raster('Large view of the disc');
        const readout = el('p', { className: 'readout', role: 'status', id: 'large-readout' });
        const plot = new Plot('Profile along the dragged line');
        const hint = el('p', { className: 'note', textContent: 'Drag over the disc for a profile.' });
        raster.onPoint = (at) => {
            const p = at ? at.y * n + at.x : -1;
            tell(readout, at && cbed.inside[p] ? this.describe({ r: sample.r, p }) : '');
        };
        raster.onProfile = (distance, y) => {
            plot.set({ xLabel: 'distance (1/\u00c5)', yLabel: quantities[quantity].name,
                log: this.state.log && quantity !== 'phase',
                series: [{ name: quantities[quantity].symbol, colour: seriesColour(0),
                    x: distance.map((d) => d * data.sample), y }] });
        };
        const half = 0.5 * (n - 1) * data.sample / (0.5 * data.g1);
        const shown = this.state.quantity;
        this.state.quantity = quantity;
        const colour = this.colourOf(sample.r);
        this.state.quantity = shown;
        openLarge(`Disc ${hklText(data.reflections[sample.r])}, ${thicknessText(data.images[t].thickness)}`,
            raster.box, el('div', {}, hint, plot.box, plot.readout), readout);
        raster.set({ nx: n, ny: n, x: [data.tilt[0] - half, data.tilt[0] + half],
            y: [data.tilt[1] - half, data.tilt[1] + half], xLabel: 'H', yLabel: 'G',
            colour: (column, line) => colour(line * n + column),
            value: (column, line) => {
                const value = cbed.value(quantity, t, sample.r, line * n + column);
                return value === undefined ? NaN : value;
            } });
        raster.line = { from: { x: 0, y: n >> 1 }, to: { x: n - 1, y: n >> 1 } };
        raster.report();
        this.changed();
    }

    // The sample under the keyboard's cursor.
    key(event) {
        const n = data.side;
        this.at = this.at || { r: 0, column: n >> 1, line: n >> 1 };
        const at = this.at;
        const step = { ArrowLeft: [-1, 0], ArrowRight: [1, 0], ArrowUp: [0, 1],
            ArrowDown: [0, -1] }[event.key];
        const place = () => ({ x: this.xs[at.r] + at.column - (n - 1) / 2,
            y: this.ys[at.r] + at.line - (n - 1) / 2, r: at.r });
        const actions = {
            n: () => { at.r = (at.r + 1) % data.reflections.length; },
            b: () => { at.r = (at.r + data.reflections.length - 1) % data.reflections.length; },
            Enter: () => this.open({ r: at.r, p: at.line * n + at.column }),
            '+': () => this.view.zoom(1.25),
            '-': () => this.view.zoom(0.8),
            0: () => this.view.fit(),
            '[': () => this.setThickness(this.state.t - 1),
            ']': () => this.setThickness(this.state.t + 1),
            p: () => {
                if (this.marked) {
                    this.view.line = { from: this.marked, to: place() };
                    this.showProfile(this.view.line);
                }
                this.marked = this.marked ? null : place();
            },
        };
        const action = actions[event.key.length === 1 ? event.key.toLowerCase() : event.key];
        if (!step && !action) {
            return;
        }
        event.preventDefault();
        if (step) {
            at.column = Math.max(0, Math.min(n - 1, at.column + step[0]));
            at.line = Math.max(0, Math.min(n - 1, at.line + step[1]));
        } else {
            action();
        }
        this.view.cursor = place();
        this.hover(place());
        this.view.draw();
    }
}

function startCbed() {
    cbed.prepare();
    const pages = { area: CbedPage, line: RockingPage, point: PointPage };
    return new pages[data.shape]();
}
