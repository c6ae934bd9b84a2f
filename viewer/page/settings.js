// The column of settings: labelled inputs that write into one record and call back.

function row(label, input) {
    input.setAttribute('aria-label', label);
    return el('label', { className: 'row' }, el('span', { textContent: label }), input);
}

function group(title, ...rows) {
    return el('fieldset', {}, el('legend', { textContent: title }), ...rows);
}

// A slider with its value beside it; returns {node, input, show}.
function slider(label, { id, min, max, step, value, text }, changed) {
    const input = el('input', { type: 'range', id, min, max, step, value });
    const output = el('output', {});
    const show = (v) => {
        input.value = v;
        output.textContent = text(v);
        input.setAttribute('aria-valuetext', text(v));
    };
    input.addEventListener('input', () => {
        show(Number(input.value));
        changed(Number(input.value));
    });
    show(value);
    input.setAttribute('aria-label', label);
    return {
        node: el('label', { className: 'row' }, el('span', { textContent: label }),
            el('span', { className: 'with-value' }, input, output)),
        input, show,
    };
}

function check(label, id, value, changed) {
    const input = el('input', { type: 'checkbox', id, checked: value });
    input.addEventListener('change', () => changed(input.checked));
    return el('label', { className: 'check' }, input, label);
}

// A choice among {value: text}.
function choice(label, id, options, value, changed) {
    const select = el('select', { id }, ...Object.entries(options).map(([key, text]) =>
        el('option', { value: key, textContent: text, selected: key === String(value) })));
    select.addEventListener('change', () => changed(select.value));
    return row(label, select);
}

function numberInput(id, value, changed) {
    const input = el('input', { type: 'number', id, step: 'any', value });
    input.addEventListener('change', () => {
        if (input.value !== '' && Number.isFinite(Number(input.value))) {
            changed(Number(input.value));
        }
    });
    return input;
}

function button(text, id, pressed) {
    const node = el('button', { type: 'button', id, textContent: text });
    node.addEventListener('click', pressed);
    return node;
}

function mapChoice(value, changed) {
    return choice('Colours', 'map', Object.fromEntries(Object.keys(data.maps).map((name) =>
        [name, name])), value, changed);
}

// How a value becomes a place in a colour table: 0 .. 255, or -1 for what is not a number.
function grader({ min, max, gamma, reversed, log }) {
    const low = log ? (min > 0 ? min : max * 1e-5) : min;
    const width = log ? Math.log(max / low) : max - low;
    return (value) => {
        if (!Number.isFinite(value)) {
            return -1;
        }
        let fraction = log ? (value > low ? Math.log(value / low) / width : 0) :
            (value - low) / width;
        fraction = Math.min(1, Math.max(0, fraction));
        fraction = log ? fraction : fraction ** gamma;
        return Math.round(255 * (reversed ? 1 - fraction : fraction));
    };
}

// How a value becomes a packed colour.
function painter(table, settings) {
    const grade = grader(settings);
    return (value) => {
        const i = grade(value);
        return i < 0 ? notANumber : table[i];
    };
}

// The text of a range's end; what is next to nothing beside the other end is 0.
function rangeText(value, other) {
    const settled = Math.abs(value) < 1e-4 * Math.abs(other) ? 0 : value;
    const digits = [3, 4, 5, 6, 7].find((n) => number(settled, n) !== number(other, n)) || 3;
    return settled !== 0 && Math.abs(settled) < 1e-2 ? settled.toExponential(1).replaceAll('-', '\u2212') :
        number(settled, digits);
}
