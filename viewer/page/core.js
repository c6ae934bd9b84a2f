'use strict';
// What every page needs: its data, texts, colours and small pieces of HTML.

const data = JSON.parse(document.getElementById('data').textContent);

// A block of numbers, decoded when it is first asked for; names no block has give an empty array.
const decoded = new Map();
function block(name, Type) {
    if (!decoded.has(name)) {
        const holder = document.getElementById('block-' + name);
        const text = atob(holder ? holder.textContent : '');
        const bytes = new Uint8Array(text.length);
        for (let i = 0; i < text.length; ++i) {
            bytes[i] = text.charCodeAt(i);
        }
        decoded.set(name, new Type(bytes.buffer));
    }
    return decoded.get(name);
}

// An element with properties and children; text children are text, never HTML.
function el(tag, properties, ...children) {
    const node = document.createElement(tag);
    for (const [name, value] of Object.entries(properties || {})) {
        if (name === 'ariaLabel') {
            node.setAttribute('aria-label', value);
        } else if (name in node) {
            node[name] = value;
        } else {
            node.setAttribute(name, value);
        }
    }
    if ('autocomplete' in node) { // a page that is gone back to begins as its controls show
        node.autocomplete = 'off';
    }
    node.append(...children);
    return node;
}

function number(value, digits = 5) {
    if (!Number.isFinite(value)) {
        return 'not a number';
    }
    const text = value.toPrecision(digits);
    const short = text.includes('e') ? text.replace(/\.?0+e/, 'e') :
        text.includes('.') ? text.replace(/\.?0+$/, '') : text;
    return short.replaceAll('-', '\u2212');
}

// As many digits as result files have.
function thicknessText(thickness) {
    return `${number(thickness, 6)} \u00c5`;
}

function hklText(hkl) {
    return hkl.map((index) => String(index).replace('-', '\u2212')).join(' ');
}

// A reflection or a direction the crystallographer's way, minus signs as bars; returns its width.
function drawHkl(context, hkl, x, y, size) {
    const texts = hkl.map((index) => String(Math.abs(index)));
    const gap = Math.max(...texts.map((text) => text.length)) > 1 ? 0.35 * size : 0.1 * size;
    const widths = texts.map((text) => context.measureText(text).width);
    const total = widths.reduce((sum, width) => sum + width, 2 * gap);
    let left = x - total / 2;
    context.textAlign = 'left';
    context.textBaseline = 'middle';
    const bars = [];
    texts.forEach((text, i) => {
        context.strokeText(text, left, y);
        if (hkl[i] < 0) {
            bars.push([left + 0.06 * size, left + widths[i] - 0.06 * size]);
        }
        left += widths[i] + gap;
    });
    left = x - total / 2;
    texts.forEach((text, i) => {
        context.fillText(text, left, y);
        left += widths[i] + gap;
    });
    const bar = (from, to) => [from, y - 0.56 * size, to - from, Math.max(1, 0.075 * size)];
    bars.forEach(([from, to]) => context.strokeRect(...bar(from, to)));
    for (const [from, to] of bars) {
        context.fillRect(...bar(from, to));
    }
    return total;
}

// A colour as the number that four bytes of an image make; 0 is nothing at all.
function packed(r, g, b) {
    return (0xff000000 | Math.round(b) << 16 | Math.round(g) << 8 | Math.round(r)) >>> 0;
}
function unpacked(colour) {
    return [colour & 255, colour >> 8 & 255, colour >> 16 & 255];
}

// A colour table: 256 packed colours.
function colourTable(hex) {
    return Uint32Array.from({ length: 256 }, (_, i) => packed(
        ...[0, 2, 4].map((digit) => parseInt(hex.slice(6 * i + digit, 6 * i + digit + 2), 16))));
}
const colourTables = Object.fromEntries(
    Object.entries(data.maps).map(([name, hex]) => [name, colourTable(hex)]));
const phaseTable = colourTable(data.phaseMap);
const notANumber = packed(230, 0, 130);

function rgb(colour) {
    return `rgb(${unpacked(colour).join(' ')})`;
}

// Eight colours that stay apart for colour-blind eyes (M. Okabe and K. Ito, 2008; the yellow is
// darkened to be seen on white), then the same again.
function seriesColour(i) {
    const dark = document.documentElement.dataset.theme === 'dark';
    const colours = dark ?
        ['#56b4e9', '#e69f00', '#2bc79a', '#f0e442', '#ff8f4d', '#e39ac6', '#8fa8ff', '#d0d0d0'] :
        ['#0072b2', '#d55e00', '#009e73', '#cc79a7', '#b08900', '#3a9bd6', '#7a3fa8', '#444444'];
    return colours[i % colours.length];
}

function cssColour(name) {
    return getComputedStyle(document.documentElement).getPropertyValue('--' + name).trim();
}

// A colour "#rrggbb" mixed into another by a share of 0 to 1.
function mixed(colour, into, share) {
    const part = (hex, i) => parseInt(hex.slice(1 + 2 * i, 3 + 2 * i), 16);
    return `rgb(${[0, 1, 2].map((i) =>
        Math.round(part(into, i) + share * (part(colour, i) - part(into, i)))).join(' ')})`;
}

const fontFamily = '"Segoe UI", "Helvetica Neue", Roboto, "Liberation Sans", sans-serif';

// Makes a canvas as large as its box, in device pixels; the context draws in CSS pixels.
function fitCanvas(canvas, width, height) {
    const ratio = window.devicePixelRatio || 1;
    const w = Math.max(1, Math.round(width * ratio));
    const h = Math.max(1, Math.round(height * ratio));
    if (canvas.width !== w || canvas.height !== h) {
        canvas.width = w;
        canvas.height = h;
        canvas.style.width = width + 'px';
        canvas.style.height = height + 'px';
    }
    const context = canvas.getContext('2d');
    context.setTransform(ratio, 0, 0, ratio, 0, 0);
    context.clearRect(0, 0, width, height);
    return context;
}

// A text about what is under the pointer. Its box keeps the height that it once needed, so that what
// stands above it stays where it is.
function tell(readout, text) {
    readout.textContent = text;
    const needed = readout.offsetHeight;
    if (needed > (parseFloat(readout.style.minHeight) || 0)) {
        readout.style.minHeight = `${needed}px`;
    }
}

// Keys for a canvas; those that go with Ctrl, Alt or Cmd are the browser's, unless that is how a
// keyboard types a bracket.
function onKey(canvas, act) {
    canvas.addEventListener('keydown', (event) => {
        const typed = event.getModifierState('AltGraph') || (event.altKey && /^\W$/.test(event.key));
        if (typed || !(event.ctrlKey || event.altKey || event.metaKey)) {
            act(event);
        }
    });
}

// A mouse that leaves a canvas points at nothing; a finger that is lifted leaves its value to be read.
function onLeave(canvas, act) {
    canvas.addEventListener('pointerleave', (event) => {
        if (event.pointerType !== 'touch') {
            act();
        }
    });
}

// Draws once per frame, however often it is asked to.
function perFrame(draw) {
    let asked = false;
    return () => {
        if (!asked) {
            asked = true;
            requestAnimationFrame(() => {
                asked = false;
                draw();
            });
        }
    };
}

// The largest of 1, 2 and 5 times a power of ten that is not above the length.
function roundLength(longest) {
    const decade = 10 ** Math.floor(Math.log10(longest));
    return [5, 2].map((step) => step * decade).find((length) => length <= longest) || decade;
}

// The smallest of 1, 2 and 5 times a power of ten that is not below the length.
function roundStep(shortest) {
    const decade = 10 ** Math.floor(Math.log10(shortest));
    return [1, 2, 5].map((step) => step * decade).find((length) => length >= shortest) || 10 * decade;
}

const redrawers = [];
function onThemeChange(redraw) {
    redrawers.push(redraw);
}
const darkPreferred = matchMedia('(prefers-color-scheme: dark)');
let theme = 'auto';
function applyTheme() {
    const dark = theme === 'dark' || (theme === 'auto' && darkPreferred.matches);
    document.documentElement.dataset.theme = dark ? 'dark' : 'light';
    document.getElementById('theme').textContent = 'Theme: ' + theme;
    redrawers.forEach((redraw) => redraw());
}
document.getElementById('theme').addEventListener('click', () => {
    theme = { auto: 'light', light: 'dark', dark: 'auto' }[theme];
    applyTheme();
});
darkPreferred.addEventListener('change', applyTheme);
applyTheme();

function showFacts(lines) {
    document.getElementById('facts').replaceChildren(...lines.map(([label, value]) =>
        el('div', {}, el('dt', { textContent: label }), el('dd', { textContent: value }))));
}

function table(heads, rows) {
    return el('div', { className: 'scroll', tabIndex: 0 }, el('table', {},
        el('thead', {}, el('tr', {}, ...heads.map((text) =>
            el('th', { textContent: text, scope: 'col' })))),
        el('tbody', {}, ...rows.map((row) => el('tr', {}, ...row.map((text, i) =>
            el(i === 0 ? 'th' : 'td', { textContent: text })))))));
}

// The large view: a dialog that the browser closes by Escape.
const largeDialog = document.getElementById('large');
document.getElementById('large-close').addEventListener('click', () => largeDialog.close());
function openLarge(title, ...content) {
    document.getElementById('large-title').textContent = title;
    document.getElementById('large-body').replaceChildren(...content);
    largeDialog.showModal();
}
