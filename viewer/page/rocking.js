// Pages of CBED runs without an area: rocking curves for a line of tilts, a list for a single one.

class RockingPage {
    constructor() {
        this.state = { t: 0, quantity: 'intensity', log: false };
        this.shown = new Set(data.reflections.map((_, r) => r).slice(0, 8));
        document.body.classList.add('one-screen');
        this.plot = new Plot('Rocking curves');
        this.plot.box.classList.add('stage');
        const last = data.images.length - 1;
        const set = (name) => (value) => {
            this.state[name] = value;
            this.changed();
        };
        const thickness = slider('Thickness', { id: 'thickness', min: 0, max: last, step: 1, value: 0,
            text: (t) => thicknessText(data.images[t].thickness) }, set('t'));
        thickness.input.disabled = last === 0;
        this.list = el('div', {});
        document.getElementById('main').append(
            el('div', { className: 'view' }, this.plot.box, this.plot.readout,
                chips(data.reflections.map(hklText), this.shown, () => this.changed()),
                el('details', { id: 'values' }, el('summary', { textContent: 'List of values' }), this.list)),
            el('div', { className: 'settings' }, group(`${last + 1} thicknesses`, thickness.node),
                group('Show', ...(cbed.coherent ? [choice('Quantity', 'quantity', { intensity: 'Intensity',
                    modulus: 'Modulus', phase: 'Phase' }, 'intensity', set('quantity'))] : []),
                check('Logarithmic', 'log', false, set('log')))));
        this.changed();
    }

    changed() {
        const { t, quantity, log } = this.state;
        const H = Array.from(cbed.H, (h) => h + data.tilt[0]);
        const curve = (r) => H.map((_, p) => cbed.value(quantity, t, r, p));
        this.plot.set({ xLabel: 'tilt H (half base vectors)', yLabel: quantities[quantity].name,
            log: log && quantity !== 'phase',
            series: [...this.shown].sort((a, b) => a - b).map((r) => ({
                name: hklText(data.reflections[r]), colour: seriesColour(r), x: H, y: curve(r) })) });
        const curves = data.reflections.map((_, r) => curve(r));
        this.list.replaceChildren(table(['H', 'K_t along g1 (1/\u00c5)', ...data.reflections.map(hklText)],
            H.map((h, p) => [number(h), number(0.5 * h * data.g1),
                ...curves.map((values) => number(values[p], 6))])));
        showFacts([...data.facts, ['Thickness', thicknessText(data.images[t].thickness)],
            ['G', number(data.tilt[1])]]);
    }
}

// A single tilt: a list of values, and curves over the thickness where there are several.
class PointPage {
    constructor() {
        this.shown = new Set(data.reflections.map((_, r) => r).slice(0, 8));
        this.log = false;
        this.plot = new Plot('Intensity against thickness');
        this.plot.box.classList.add('stage');
        const thicknesses = data.images.map((image) => image.thickness);
        const cell = (r, t) => {
            const text = number(cbed.value('intensity', t, r, 0), 6);
            return cbed.coherent ? `${text} (phase ${number(cbed.value('phase', t, r, 0), 4)})` : text;
        };
        const list = table(['g', ...thicknesses.map(thicknessText)],
            data.reflections.map((hkl, r) => [hklText(hkl), ...thicknesses.map((_, t) => cell(r, t))]));
        const several = thicknesses.length > 1;
        document.getElementById('main').append(el('div', { className: 'view' },
            el('h2', { textContent: 'Intensities at tilt (H, G) = ' +
                `(${number(data.tilt[0])}, ${number(data.tilt[1])})` }), list,
            ...(several ? [this.plot.box, this.plot.readout,
                chips(data.reflections.map(hklText), this.shown, () => this.changed()),
                check('Logarithmic', 'log', false, (log) => {
                    this.log = log;
                    this.changed();
                })] : [])));
        showFacts(data.facts);
        this.changed();
    }

    changed() {
        this.plot.set({ xLabel: 'thickness (\u00c5)', yLabel: 'Intensity', log: this.log,
            series: [...this.shown].sort((a, b) => a - b).map((r) => ({
                name: hklText(data.reflections[r]), colour: seriesColour(r),
                x: data.images.map((image) => image.thickness),
                y: data.images.map((_, t) => cbed.value('intensity', t, r, 0)) })) });
    }
}
