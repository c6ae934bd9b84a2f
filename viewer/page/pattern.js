// The stage of a CBED page: discs at their places, with labels, scale bars, zoom and pan. Unit is
// the sample; x runs along base_g1 and y along base_g2, upwards.
//
// Content: {tiles: [{left, bottom, nx, ny, image}], discs: [{x, y, hkl}], low: [x, y],
//   high: [x, y], background: [r, g, b], labels, outlines, radius, square, magnification}.
// A tile's left and bottom are its lower left corner.
class PatternView {
    constructor(host) {
        this.canvas = el('canvas', { tabIndex: 0, role: 'img', id: 'pattern',
            ariaLabel: 'Diffraction pattern. Arrow keys move over the samples of a disc, N and B ' +
                'change the disc, Enter opens it large, P marks the ends of a line profile.' });
        this.host = host;
        host.append(this.canvas);
        this.centre = null;
        this.magnification = 1;
        this.line = null;
        this.cursor = null;
        this.draw = perFrame(() => this.paint());
        new ResizeObserver(this.draw).observe(host);
        onThemeChange(this.draw);
        this.listen();
    }

    listen() {
        const c = this.canvas;
        c.addEventListener('pointerdown', (event) => {
            if (!event.isPrimary) {
                return;
            }
            c.setPointerCapture(event.pointerId);
            this.pressed = { x: event.offsetX, y: event.offsetY, at: this.toPattern(event.offsetX, event.offsetY),
                pan: event.shiftKey || event.button !== 0, centre: this.centre };
            event.preventDefault();
            c.focus();
        });
        c.addEventListener('contextmenu', (event) => event.preventDefault());
        c.addEventListener('pointermove', (event) => this.move(event));
        c.addEventListener('pointerup', (event) => this.release(event));
        onLeave(c, () => {
            if (!this.pressed) {
                this.onPoint(null);
            }
        });
        c.addEventListener('wheel', (event) => {
            event.preventDefault();
            this.zoom(event.deltaY < 0 ? 1.25 : 0.8, event.offsetX, event.offsetY);
        }, { passive: false });
    }

    set(content) {
        this.content = content;
        this.draw();
    }

    // Pixels a sample at magnification 1: as large as the stage allows, a whole number of device
    // pixels where that costs little, so that samples are equal squares.
    fitScale() {
        const { low, high } = this.content;
        const scale = Math.min((this.host.clientWidth - 24) / (high[0] - low[0]),
            (this.host.clientHeight - 24) / (high[1] - low[1]));
        const ratio = window.devicePixelRatio || 1;
        return scale * ratio >= 4 ? Math.floor(scale * ratio) / ratio : scale;
    }

    scale() {
        return this.fitScale() * this.magnification;
    }

    middle() {
        const { low, high } = this.content;
        return this.centre || { x: (low[0] + high[0]) / 2, y: (low[1] + high[1]) / 2 };
    }

    toCanvas(x, y) {
        const scale = this.scale();
        const { x: cx, y: cy } = this.middle();
        return [this.host.clientWidth / 2 + (x - cx) * scale,
            this.host.clientHeight / 2 - (y - cy) * scale];
    }

    toPattern(offsetX, offsetY) {
        const scale = this.scale();
        const { x: cx, y: cy } = this.middle();
        return { x: cx + (offsetX - this.host.clientWidth / 2) / scale,
            y: cy - (offsetY - this.host.clientHeight / 2) / scale };
    }

    // Zooms about a place of the canvas.
    zoom(factor, offsetX = this.host.clientWidth / 2, offsetY = this.host.clientHeight / 2) {
        const fixed = this.toPattern(offsetX, offsetY);
        const before = this.middle();
        const magnification = Math.max(0.25, Math.min(32, this.magnification * factor));
        const change = this.magnification / magnification;
        this.magnification = magnification;
        this.centre = { x: fixed.x + (before.x - fixed.x) * change,
            y: fixed.y + (before.y - fixed.y) * change };
        this.onZoom(magnification);
        this.draw();
    }

    fit() {
        this.magnification = 1;
        this.centre = null;
        this.onZoom(1);
        this.draw();
    }

    move(event) {
        if (!event.isPrimary) {
            return;
        }
        const at = this.toPattern(event.offsetX, event.offsetY);
        const pressed = this.pressed;
        if (pressed && pressed.pan) {
            const scale = this.scale();
            const from = pressed.centre || this.middle();
            this.centre = { x: from.x - (event.offsetX - pressed.x) / scale,
                y: from.y + (event.offsetY - pressed.y) / scale };
            pressed.centre = from;
        } else if (pressed && Math.hypot(event.offsetX - pressed.x, event.offsetY - pressed.y) > 4) {
            this.line = { from: pressed.at, to: at };
            pressed.drawn = true;
        }
        this.onPoint(at);
        this.draw();
    }

    release(event) {
        const pressed = this.pressed;
        this.pressed = null;
        // The profile opens now, not during the drag: it takes room from the stage.
        if (pressed && pressed.drawn) {
            this.onProfile(this.line);
        } else if (pressed && !pressed.pan &&
            Math.hypot(event.offsetX - pressed.x, event.offsetY - pressed.y) <= 4) {
            this.onClick(pressed.at);
        }
    }

    paint() {
        const c = this.content;
        const width = this.host.clientWidth;
        const height = this.host.clientHeight;
        if (!c || width < 40 || height < 40) {
            return;
        }
        const context = fitCanvas(this.canvas, width, height);
        context.fillStyle = `rgb(${c.background.join(' ')})`;
        context.fillRect(0, 0, width, height);
        const scale = this.scale();
        context.imageSmoothingEnabled = scale < 1;
        for (const tile of c.tiles) {
            const [x, y] = this.toCanvas(tile.left, tile.bottom + tile.ny);
            context.drawImage(tile.image, x, y, tile.nx * scale, tile.ny * scale);
        }
        const bright = c.background[0] * 0.3 + c.background[1] * 0.59 + c.background[2] * 0.11 > 128;
        this.ink = bright ? '#111' : '#fff';
        this.halo = bright ? 'rgb(255 255 255 / 85%)' : 'rgb(0 0 0 / 80%)';
        this.paintDiscs(context, scale);
        this.paintMarks(context);
        this.paintBars(context, scale, height);
    }

    paintDiscs(context, scale) {
        const c = this.content;
        const radius = c.radius * scale;
        const size = Math.max(12, Math.min(22, radius * 0.3));
        for (const disc of c.discs) {
            const [x, y] = this.toCanvas(disc.x, disc.y);
            if (c.outlines) {
                context.strokeStyle = disc === c.chosen ? '#f28c28' : 'rgb(128 128 128 / 65%)';
                context.lineWidth = disc === c.chosen ? 2.5 : 1;
                context.beginPath();
                if (c.square) {
                    context.rect(x - radius, y - radius, 2 * radius, 2 * radius);
                } else {
                    context.arc(x, y, radius, 0, 2 * Math.PI);
                }
                context.stroke();
            }
            if (c.labels && radius > 11) {
                context.font = `600 ${size}px ${fontFamily}`;
                context.lineWidth = 3.5;
                context.lineJoin = 'round';
                context.strokeStyle = this.halo;
                context.fillStyle = this.ink;
                drawHkl(context, disc.hkl, x, y + radius - 0.85 * size, size);
            }
        }
    }

    paintMarks(context) {
        const strokes = [[this.halo, 4], [this.ink, 1.6]];
        for (const [style, width] of this.line ? strokes : []) {
            context.strokeStyle = style;
            context.lineWidth = width;
            context.beginPath();
            context.moveTo(...this.toCanvas(this.line.from.x, this.line.from.y));
            context.lineTo(...this.toCanvas(this.line.to.x, this.line.to.y));
            context.stroke();
        }
        for (const [style, width] of this.cursor ? strokes : []) {
            context.strokeStyle = style;
            context.lineWidth = width;
            context.beginPath();
            context.arc(...this.toCanvas(this.cursor.x, this.cursor.y), 6, 0, 7);
            context.stroke();
        }
    }

    // Bars of a round length: 1/A from the lattice, mrad (angle = wavelength x length) where the
    // voltage is known.
    paintBars(context, scale, height) {
        const bar = (unit, text, y) => {
            const length = roundLength(110 / scale * unit * 1.4);
            const pixels = length / unit * scale;
            context.font = `600 15px ${fontFamily}`;
            context.lineJoin = 'round';
            context.textAlign = 'left';
            context.textBaseline = 'middle';
            context.lineWidth = 4;
            context.strokeStyle = this.halo;
            context.fillStyle = this.halo;
            context.fillRect(16, y - 4, pixels + 4, 8);
            context.fillStyle = this.ink;
            context.fillRect(18, y - 2, pixels, 4);
            context.strokeText(`${number(length)} ${text}`, 28 + pixels, y);
            context.fillText(`${number(length)} ${text}`, 28 + pixels, y);
        };
        const sample = Math.abs(data.sample);
        bar(sample, '1/\u00c5', height - 22);
        if (data.wavelength) {
            bar(sample * data.wavelength * 1000, 'mrad', height - 46);
        }
    }
}
