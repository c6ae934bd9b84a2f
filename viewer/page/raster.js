// One map on a canvas: samples as squares, axes, a value under the pointer, a dragged profile.

// Samples along a straight line from one place to another, one a step: {distance, index}; places
// and distances are in samples, and every value is that of the nearest sample.
function lineSamples(from, to) {
    const length = Math.hypot(to.x - from.x, to.y - from.y);
    const count = Math.max(1, Math.round(length));
    return Array.from({ length: count + 1 }, (_, i) => ({
        distance: length * i / count,
        x: from.x + (to.x - from.x) * i / count,
        y: from.y + (to.y - from.y) * i / count,
    }));
}

// Draws values into an image, row 0 at the bottom: `colour(column, row)` gives a packed colour, 0
// where nothing is.
function rasterImage(nx, ny, colour) {
    const canvas = document.createElement('canvas');
    canvas.width = nx;
    canvas.height = ny;
    const context = canvas.getContext('2d');
    const image = context.createImageData(nx, ny);
    const pixels = new Uint32Array(image.data.buffer);
    for (let row = 0; row < ny; ++row) {
        for (let column = 0; column < nx; ++column) {
            pixels[(ny - 1 - row) * nx + column] = colour(column, row);
        }
    }
    context.putImageData(image, 0, 0);
    return canvas;
}

// A map in a box of the page. set() takes
//   {nx, ny, x: [first, last], y: [first, last], xLabel, yLabel, colour(column, row),
//    describe(column, row), value(column, row), bar: {table, low, high, label}}
// x and y are the axis values of the first and last sample. Equal steps of both axes are drawn
// equal.
class Raster {
    constructor(label) {
        this.canvas = el('canvas', { tabIndex: 0, role: 'img', ariaLabel: label });
        this.box = el('div', {}, this.canvas);
        this.cursor = null;
        this.line = null;
        this.draw = perFrame(() => this.paint());
        new ResizeObserver(this.draw).observe(this.box);
        onThemeChange(this.draw);
        this.canvas.addEventListener('pointermove', (event) => this.move(event));
        this.canvas.addEventListener('pointerdown', (event) => this.press(event));
        this.canvas.addEventListener('pointerup', () => { this.dragging = false; });
        onLeave(this.canvas, () => this.point(null));
        onKey(this.canvas, (event) => this.key(event));
    }

    set(content) {
        this.content = content;
        this.image = rasterImage(content.nx, content.ny, content.colour);
        if (this.cursor && this.onPoint) { // its value may be another one now
            this.onPoint(this.cursor);
        }
        this.draw();
    }

    paint() {
        const c = this.content;
        const width = this.box.clientWidth;
        if (!c || width < 60) {
            return;
        }
        const side = 50;
        const right = c.bar ? 68 : 12;
        const across = c.nx > 1 ? (c.x[1] - c.x[0]) / (c.nx - 1) : 1;
        const up = c.ny > 1 ? (c.y[1] - c.y[0]) / (c.ny - 1) : Math.abs(across);
        const aspect = Math.abs((c.ny * up) / (c.nx * across)) || 1;
        let w = Math.max(20, width - side - right);
        let h = w * aspect;
        const tallest = this.tallest || 560;
        if (h > tallest) {
            w = tallest / aspect;
            h = tallest;
        }
        const context = fitCanvas(this.canvas, width, h + 52);
        const box = { left: side, top: 8, width: w, height: h };
        this.frame = box;
        context.imageSmoothingEnabled = w < c.nx;
        context.drawImage(this.image, box.left, box.top, w, h);
        const axis = (range, n, from, to, label) => ({
            low: Math.min(...range), high: Math.max(...range), label, bare: true,
            at: (value) => from + (to - from) *
                (n > 1 ? (0.5 + (n - 1) * (value - range[0]) / (range[1] - range[0])) / n : 0.5),
        });
        drawAxes(context, box, axis(c.x, c.nx, box.left, box.left + w, c.xLabel),
            axis(c.y, c.ny, box.top + h, box.top, c.yLabel));
        if (c.bar) {
            this.paintBar(context, box, c.bar);
        }
        this.paintLine(context, box);
        this.paintCursor(context, box);
    }

    paintBar(context, box, bar) {
        const left = box.left + box.width + 10;
        for (let i = 0; i < box.height; ++i) {
            const value = Math.round(255 * (1 - i / box.height));
            context.fillStyle = rgb(bar.table[bar.reversed ? 255 - value : value]);
            context.fillRect(left, box.top + i, 12, 1.5);
        }
        context.fillStyle = cssColour('ink');
        context.textAlign = 'left';
        context.font = `12px ${fontFamily}`;
        context.textBaseline = 'top';
        context.fillText(bar.high, left + 16, box.top);
        context.textBaseline = 'bottom';
        context.fillText(bar.low, left + 16, box.top + box.height);
        context.textBaseline = 'middle';
        context.fillText(bar.label || '', left + 16, box.top + box.height / 2);
    }

    toCanvas(place) {
        const { left, top, width, height } = this.frame;
        return [left + width * (place.x + 0.5) / this.content.nx,
            top + height * (1 - (place.y + 0.5) / this.content.ny)];
    }

    paintLine(context) {
        if (this.line) {
            context.lineWidth = 4;
            context.strokeStyle = '#000';
            for (const style of ['#000', '#fff']) {
                context.strokeStyle = style;
                context.beginPath();
                context.moveTo(...this.toCanvas(this.line.from));
                context.lineTo(...this.toCanvas(this.line.to));
                context.stroke();
                context.lineWidth = 1.6;
            }
        }
    }

    paintCursor(context) {
        if (this.cursor) {
            const [x, y] = this.toCanvas(this.cursor);
            for (const [style, width] of [['#000', 3], ['#fff', 1.4]]) {
                context.strokeStyle = style;
                context.lineWidth = width;
                context.beginPath();
                context.arc(x, y, 6, 0, 7);
                context.stroke();
            }
        }
    }

    // The sample under a pointer, or null.
    sampleAt(event) {
        if (!this.frame) {
            return null;
        }
        const { left, top, width, height } = this.frame;
        const x = Math.floor(this.content.nx * (event.offsetX - left) / width);
        const y = Math.floor(this.content.ny * (1 - (event.offsetY - top) / height));
        return x >= 0 && y >= 0 && x < this.content.nx && y < this.content.ny ? { x, y } : null;
    }

    move(event) {
        if (!event.isPrimary) {
            return;
        }
        const sample = this.sampleAt(event);
        if (this.dragging && sample) {
            this.line = { from: this.dragging, to: sample };
            this.report();
        }
        this.point(sample);
    }

    press(event) {
        if (!event.isPrimary) {
            return;
        }
        this.move(event);
        this.dragging = this.onProfile && this.sampleAt(event);
        this.canvas.setPointerCapture(event.pointerId);
    }

    report() {
        const samples = lineSamples(this.line.from, this.line.to);
        this.onProfile(samples.map((s) => s.distance),
            samples.map((s) => this.content.value(Math.round(s.x), Math.round(s.y))));
    }

    point(sample) {
        this.cursor = sample;
        if (this.onPoint) {
            this.onPoint(sample);
        }
        this.draw();
    }

    // Arrows move the cursor; P sets the first and then the second end of a profile.
    key(event) {
        const step = { ArrowLeft: [-1, 0], ArrowRight: [1, 0], ArrowUp: [0, 1],
            ArrowDown: [0, -1] }[event.key];
        const at = this.cursor || { x: this.content.nx >> 1, y: this.content.ny >> 1 };
        if (step) {
            event.preventDefault();
            this.point({ x: Math.max(0, Math.min(this.content.nx - 1, at.x + step[0])),
                y: Math.max(0, Math.min(this.content.ny - 1, at.y + step[1])) });
        } else if (event.key.toLowerCase() === 'p' && this.onProfile) {
            if (this.marked) {
                this.line = { from: this.marked, to: at };
                this.report();
            }
            this.marked = this.marked ? null : at;
            this.draw();
        }
    }
}
