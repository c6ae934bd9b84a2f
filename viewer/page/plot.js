// Curves over one axis, on a canvas: axes with ticks, weighted lines, a value under the pointer.

// Round ticks that cover [low, high], `most` of them at most.
function ticks(low, high, most) {
    const step = roundStep((high - low) / Math.max(1, most)) || 1;
    const list = [];
    const first = Math.ceil(low / step - 1e-9);
    // Far from zero a step can be lost to rounding.
    for (let i = 0; i <= 3 * most + 3 && (first + i) * step <= high + 1e-9 * step; ++i) {
        list.push((first + i) * step);
    }
    return list;
}

function decadeTicks(low, high) {
    const list = [];
    for (let e = Math.ceil(Math.log10(low) - 1e-9); 10 ** e <= high * (1 + 1e-9); ++e) {
        list.push(10 ** e);
    }
    return list.length > 1 ? list : [low, high];
}

// As many digits as tell neighbouring ticks apart.
function tickText(value, list, log) {
    if (log) {
        const digits = [2, 3, 4, 5].find((n) =>
            new Set(list.map((v) => v.toPrecision(n))).size === list.length) || 6;
        return number(Number(value.toPrecision(digits)), 6);
    }
    const step = list.length > 1 ? Math.abs(list[1] - list[0]) : Math.abs(value) || 1;
    const top = Math.max(...list.map(Math.abs));
    if (top >= 1e6 || step < 1e-6) {
        return number(value, 4);
    }
    const places = Math.max(0, -Math.floor(Math.log10(step) + 1e-9));
    return value.toFixed(places).replace(/^-/, '\u2212');
}

function extent(arrays) {
    let low = Infinity;
    let high = -Infinity;
    for (const values of arrays) {
        for (const value of values) {
            if (Number.isFinite(value)) {
                low = Math.min(low, value);
                high = Math.max(high, value);
            }
        }
    }
    return low > high ? [0, 1] : low === high ? [low - 0.5, high + 0.5] : [low, high];
}

// A frame with ticks and labels around the box {left, top, width, height}.
function drawAxes(context, box, x, y) {
    context.font = `13px ${fontFamily}`;
    context.lineWidth = 1;
    const xTicks = x.log ? decadeTicks(x.low, x.high) : ticks(x.low, x.high, Math.min(10, box.width / 40));
    const yTicks = y.log ? decadeTicks(y.low, y.high) : ticks(y.low, y.high, Math.min(10, box.height / 40));
    context.strokeStyle = cssColour('grid');
    context.beginPath();
    for (const value of xTicks) {
        const at = Math.round(x.at(value)) + 0.5;
        context.moveTo(at, box.top);
        context.lineTo(at, box.top + box.height);
    }
    for (const value of yTicks) {
        const at = Math.round(y.at(value)) + 0.5;
        context.moveTo(box.left, at);
        context.lineTo(box.left + box.width, at);
    }
    if (!x.bare) {
        context.stroke();
    }
    context.strokeStyle = cssColour('dim');
    context.strokeRect(box.left + 0.5, box.top + 0.5, box.width, box.height);
    context.fillStyle = cssColour('ink');
    context.textAlign = 'center';
    context.textBaseline = 'top';
    xTicks.forEach((value) => {
        context.fillText(tickText(value, xTicks, x.log), x.at(value), box.top + box.height + 6);
    });
    context.fillText(x.label, box.left + box.width / 2, box.top + box.height + 24);
    context.textAlign = 'right';
    context.textBaseline = 'middle';
    yTicks.forEach((value) => {
        context.fillText(tickText(value, yTicks, y.log), box.left - 7, y.at(value));
    });
    context.save();
    context.translate(9, box.top + box.height / 2);
    context.rotate(-Math.PI / 2);
    context.textAlign = 'center';
    context.fillText(y.label, 0, 0);
    context.restore();
}

// A plot in a box of the page. set() takes
//   {xLabel, yLabel, log, series: [{name, colour, x, y, weight}]}
// with a weight of 0 to 1 a point, shown as thickness and strength of the line.
class Plot {
    constructor(label) {
        this.canvas = el('canvas', { tabIndex: 0, role: 'img', ariaLabel: label });
        this.box = el('div', { className: 'plot' }, this.canvas);
        this.readout = el('p', { className: 'readout', role: 'status' });
        this.cursor = -1;
        this.content = { series: [], xLabel: '', yLabel: '' };
        this.draw = perFrame(() => this.paint());
        new ResizeObserver(this.draw).observe(this.box);
        onThemeChange(this.draw);
        for (const moved of ['pointerdown', 'pointermove']) {
            this.canvas.addEventListener(moved, (event) => this.follow(event.offsetX));
        }
        onLeave(this.canvas, () => this.follow(-1));
        onKey(this.canvas, (event) => this.key(event));
    }

    set(content) {
        this.content = content;
        tell(this.readout, this.valuesAt(0)); // the room that values take, before there are any
        this.tell();
        this.draw();
    }

    axes(width, height) {
        const { series, xLabel, yLabel, log } = this.content;
        let [yLow, yHigh] = extent(series.map((s) => s.y));
        if (log) {
            yHigh = yHigh > 0 ? yHigh : 1;
            yLow = Math.max(yLow, yHigh * 1e-6);
        } else if (yLow > 0 && yLow < 0.3 * yHigh) {
            yLow = 0;
        }
        const pad = log ? 0 : 0.04 * (yHigh - yLow);
        const [xLow, xHigh] = extent(series.map((s) => s.x));
        const y = { low: yLow === 0 ? 0 : yLow - pad, high: yHigh + pad, label: yLabel, log };
        const x = { low: xLow, high: xHigh, label: xLabel };
        const list = log ? decadeTicks(y.low, y.high) : ticks(y.low, y.high, Math.min(10, height / 40));
        const context = this.canvas.getContext('2d');
        context.font = `13px ${fontFamily}`;
        const widest = Math.max(...list.map((value) =>
            context.measureText(tickText(value, list, log)).width), 20);
        const left = Math.ceil(widest) + 32;
        const box = { left, top: 12, width: width - left - 18, height: height - 60 };
        x.at = (value) => box.left + box.width * (value - x.low) / (x.high - x.low);
        const scale = log ? Math.log : (value) => value;
        y.at = (value) => box.top + box.height *
            (1 - (scale(value) - scale(y.low)) / (scale(y.high) - scale(y.low)));
        return { box, x, y };
    }

    paint() {
        const width = this.box.clientWidth;
        const height = this.box.clientHeight;
        if (width < 80 || height < 80) {
            return;
        }
        const context = fitCanvas(this.canvas, width, height);
        this.frame = this.axes(width, height);
        const { box, x, y } = this.frame;
        drawAxes(context, box, x, y);
        context.save();
        context.beginPath();
        context.rect(box.left, box.top, box.width, box.height + 1);
        context.clip();
        context.lineJoin = 'round';
        for (const series of this.content.series) {
            this.paintSeries(context, series);
        }
        this.paintCursor(context);
        context.restore();
    }

    paintSeries(context, series) {
        const { x, y } = this.frame;
        const place = (i) => [x.at(series.x[i]), y.at(Math.max(series.y[i], y.log ? y.low : -Infinity))];
        context.strokeStyle = series.colour;
        context.fillStyle = series.colour;
        const drawn = (i) => Number.isFinite(series.y[i]);
        if (series.weight) {
            const paper = cssColour('panel');
            context.lineCap = 'round';
            for (let i = 0; i + 1 < series.x.length; ++i) {
                if (drawn(i) && drawn(i + 1)) {
                    const weight = Math.min(1, 0.5 * (series.weight[i] + series.weight[i + 1]));
                    context.strokeStyle = mixed(series.colour, paper, 0.25 + 0.75 * Math.sqrt(weight));
                    context.lineWidth = 1 + 9 * weight;
                    context.beginPath();
                    context.moveTo(...place(i));
                    context.lineTo(...place(i + 1));
                    context.stroke();
                }
            }
            return;
        }
        context.lineWidth = 2;
        context.beginPath();
        for (let i = 0; i < series.x.length; ++i) {
            if (drawn(i)) {
                context[i > 0 && drawn(i - 1) ? 'lineTo' : 'moveTo'](...place(i));
            }
        }
        context.stroke();
        if (series.x.length < 60) {
            for (let i = 0; i < series.x.length; ++i) {
                if (drawn(i)) {
                    context.beginPath();
                    context.arc(...place(i), 2.6, 0, 7);
                    context.fill();
                }
            }
        }
    }

    paintCursor(context) {
        const series = this.content.series[0];
        if (this.cursor < 0 || !series || this.cursor >= series.x.length) {
            return;
        }
        const { box, x, y } = this.frame;
        const at = x.at(series.x[this.cursor]);
        context.strokeStyle = cssColour('dim');
        context.lineWidth = 1;
        context.beginPath();
        context.moveTo(at, box.top);
        context.lineTo(at, box.top + box.height);
        context.stroke();
        for (const s of this.content.series) {
            if (Number.isFinite(s.y[this.cursor])) {
                context.fillStyle = s.colour;
                context.beginPath();
                context.arc(at, y.at(s.y[this.cursor]), 4, 0, 7);
                context.fill();
            }
        }
    }

    // The sample nearest to a place on the canvas.
    follow(offset) {
        const series = this.content.series[0];
        if (!series || !this.frame) {
            return;
        }
        let best = -1;
        if (offset >= 0) {
            for (let i = 0; i < series.x.length; ++i) {
                if (best < 0 || Math.abs(this.frame.x.at(series.x[i]) - offset) <
                    Math.abs(this.frame.x.at(series.x[best]) - offset)) {
                    best = i;
                }
            }
        }
        this.point(best);
    }

    valuesAt(index) {
        const { series, xLabel } = this.content;
        return index < 0 || !series.length || index >= series[0].x.length ? '' :
            `${xLabel}: ${number(series[0].x[index])}   ` + series.map((s) =>
                `${s.name}: ${number(s.y[index])}` +
                (s.weight ? ` (${number(s.weight[index], 3)})` : '')).join('   ');
    }

    // The values at the cursor.
    tell() {
        tell(this.readout, this.valuesAt(this.cursor));
    }

    point(index) {
        this.cursor = index;
        this.tell();
        this.draw();
        if (this.onPoint) {
            this.onPoint(index);
        }
    }

    key(event) {
        const series = this.content.series[0];
        const step = { ArrowLeft: -1, ArrowRight: 1 }[event.key];
        if (series && step) {
            event.preventDefault();
            this.point(Math.max(0, Math.min(series.x.length - 1, this.cursor + step)));
        }
    }
}

// Buttons that show and hide curves; `names` are texts, `shown` a set of positions.
function chips(names, shown, changed) {
    return el('div', { className: 'chips', role: 'group', ariaLabel: 'Curves shown' },
        ...names.map((name, i) => {
            const mark = el('i', {});
            const chip = el('button', { type: 'button', className: 'chip' }, mark, name);
            const update = () => {
                mark.style.background = seriesColour(i);
                chip.setAttribute('aria-pressed', String(shown.has(i)));
            };
            chip.addEventListener('click', () => {
                shown.has(i) ? shown.delete(i) : shown.add(i);
                update();
                changed();
            });
            onThemeChange(update);
            update();
            return chip;
        }));
}
