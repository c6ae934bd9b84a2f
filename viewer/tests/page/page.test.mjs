// Opens the pages of the samples in headless Chromium: what they show is compared with the tables,
// by the pixels of screenshots and by the text under the pointer.
//   node page.test.mjs --kavun PROGRAM --orvel PROGRAM --source FOLDER --samples FOLDER --packages FOLDER --chromium PROGRAM
import assert from 'node:assert/strict';
import { execFileSync } from 'node:child_process';
import { cpSync, mkdtempSync, readFileSync, renameSync, rmSync, writeFileSync } from 'node:fs';
import { createRequire } from 'node:module';
import { tmpdir } from 'node:os';
import { join } from 'node:path';
import { after, before, test } from 'node:test';
import { parseArgs } from 'node:util';

const { values: option } = parseArgs({ options: Object.fromEntries(
    ['kavun', 'orvel', 'source', 'samples', 'packages', 'chromium'].map((name) => [name, { type: 'string' }])) });
const { chromium } = createRequire(join(option.packages, 'package.json'))('playwright-core');

const work = mkdtempSync(join(tmpdir(), 'kavun_page_'));
const folder = join(work, 'samples');
let context;
let page;
let complaints = [];

before(async () => {
    cpSync(option.samples, folder, { recursive: true });
    context = await chromium.launchPersistentContext(join(work, 'profile'), {
        executablePath: option.chromium, headless: true, viewport: { width: 1366, height: 768 },
        colorScheme: 'light',
        args: ['--headless', '--no-sandbox', '--disable-gpu', '--disable-quic', '--no-first-run',
            '--disable-background-networking', '--disable-component-update', '--disable-sync'],
    });
    page = await context.newPage();
    page.on('console', (message) => complaints.push(message.text()));
    page.on('pageerror', (error) => complaints.push(error.message));
    page.on('dialog', (dialog) => complaints.push('a dialog: ' + dialog.message()));
    page.on('request', (request) => {
        if (!/^(file|data|blob):/.test(request.url())) {
            complaints.push('network: ' + request.url());
        }
    });
});
after(async () => {
    await context.close();
    rmSync(work, { recursive: true });
});

async function open(base) {
    complaints = [];
    execFileSync(option.kavun, [join(folder, base + '_kav.txt')]);
    await page.goto('file://' + encodeURI(join(folder, base + '_.html')));
    await settle();
}
const settle = () => page.evaluate(() => new Promise((done) =>
    requestAnimationFrame(() => requestAnimationFrame(done))));
const quiet = () => assert.deepEqual(complaints, []);
const text = (selector) => page.locator(selector).first().innerText();

// A CBED table read the plain way.
function readTable(name) {
    const lines = readFileSync(join(folder, name), 'utf8').split('\n').filter((l) => !l.startsWith('#'));
    const numbers = (line) => line.split('#')[0].trim().split(/\s+/).map(Number);
    const at = (keyword) => lines.indexOf(keyword) + 1;
    const [max, min] = numbers(lines[at('VISUAL{')]);
    const count = Number(lines[at('RF_INDEX{')]);
    const discs = lines.slice(at('RF_INDEX{') + 1).slice(0, count).map(numbers);
    const [points, side] = numbers(lines[at('COORD{')]);
    const grid = lines.slice(at('COORD{') + 2).slice(0, points).map(numbers);
    const blocks = [];
    for (let i = lines.indexOf('RF{'); blocks.length < count; i = lines.indexOf('RF{', i + 1)) {
        blocks.push(lines.slice(i + 2, i + 2 + points).map(numbers));
    }
    return { max, min, discs, side, grid, blocks };
}

// Colours [red, green, blue] of a screenshot of an element, at places from its upper left corner.
async function colours(selector, places) {
    const shot = await page.locator(selector).first().screenshot();
    const other = await context.newPage();
    const found = await other.evaluate(async ([encoded, wanted]) => {
        const image = new Image();
        image.src = 'data:image/png;base64,' + encoded;
        await image.decode();
        const canvas = document.createElement('canvas');
        [canvas.width, canvas.height] = [image.width, image.height];
        const drawing = canvas.getContext('2d');
        drawing.drawImage(image, 0, 0);
        return wanted.map(({ x, y }) =>
            Array.from(drawing.getImageData(Math.floor(x), Math.floor(y), 1, 1).data).slice(0, 3));
    }, [shot.toString('base64'), places]);
    await other.close();
    return found;
}

// Where a sample of a disc stands on the stage at magnification 1.
async function geometry(table) {
    const box = await page.locator('#pattern').boundingBox();
    const n = table.side;
    const xs = table.discs.map((d) => d[3] * (n - 1) / n);
    const ys = table.discs.map((d) => d[4] * (n - 1) / n);
    const span = (v) => Math.max(...v) - Math.min(...v) + n;
    const fit = Math.min((box.width - 24) / span(xs), (box.height - 24) / span(ys));
    const scale = fit >= 4 ? Math.floor(fit) : fit;
    const middle = (v) => (Math.max(...v) + Math.min(...v)) / 2;
    return { box, scale, place: (r, column, row) => ({
        x: box.width / 2 + (xs[r] + column - (n - 1) / 2 - middle(xs)) * scale,
        y: box.height / 2 - (ys[r] + row - (n - 1) / 2 - middle(ys)) * scale }) };
}
async function hover(geo, r, column, row) {
    const { x, y } = geo.place(r, column, row);
    await page.mouse.move(geo.box.x + x, geo.box.y + y);
    await settle();
}
const plain = (shown) => shown.replaceAll('\u2212', '-');

// The brightness of samples of all discs, as the settings say.
async function expectBrightness(table, grey) {
    const geo = await geometry(table);
    const samples = table.discs.flatMap((_, r) =>
        [[12, 12], [7, 14], [16, 16], [12, 19]].map(([column, row]) => [r, column, row]));
    const found = await colours('#pattern', samples.map((sample) => geo.place(...sample)));
    samples.forEach(([r, column, row], i) => {
        const [red, green, blue] = found[i];
        const expected = grey(table.blocks[r][row * table.side + column][0]);
        assert.ok(Math.abs(red - expected) <= 2 && red === green && red === blue,
            `disc ${r} sample ${column} ${row}: ${found[i]}, expected ${expected}`);
    });
}

async function setSlider(selector, value) {
    await page.locator(selector).fill(String(value));
    await settle();
}

test('discs stand at their places and have the brightness of the table', async () => {
    await open('cbed');
    const table = readTable('cbed_rs0.txt');
    const share = (v, t) => Math.min(1, Math.max(0, (v - t.min) / (t.max - t.min)));
    assert.match(await text('#facts'), /Si, space group 227[\s\S]*\[1 1 1\][\s\S]*200 kV[\s\S]*500 Å/);
    await expectBrightness(table, (v) => 255 * (1 - share(v, table) ** 0.5));
    await setSlider('#gamma', 1);
    await page.uncheck('#reversed');
    await settle();
    await expectBrightness(table, (v) => 255 * share(v, table));
    const second = readTable('cbed_rs1.txt');
    await setSlider('#thickness', 1);
    assert.match(await text('#facts'), /1000 Å/);
    await expectBrightness(second, (v) => 255 * share(v, second));
    await page.fill('#max', '500');
    await page.keyboard.press('Tab');
    await settle();
    await expectBrightness(second, (v) => 255 * Math.min(1, (v - second.min) / (500 - second.min)));
    await page.check('#log');
    await page.selectOption('#map', 'viridis');
    await settle();
    const geo = await geometry(second);
    const [[red, green, blue]] = await colours('#pattern', [geo.place(0, 12, 12)]);
    assert.ok(!(red === green && green === blue), 'viridis has colours');
    quiet();
});

test('a run of orvel itself is shown', async () => {
    cpSync(join(option.source, 'examples/si111_cbed/si111.dat'), join(folder, 'si111.dat'));
    execFileSync(option.orvel, ['si111.dat'], { cwd: folder, stdio: 'ignore',
        env: { ...process.env, ORVEL_DATA: join(option.source, 'data') } });
    await open('si111');
    const table = readTable('si111_rs0.txt');
    assert.equal(table.discs.length, 13);
    assert.match(await text('#facts'), /Si, space group 227[\s\S]*\[1 1 1\][\s\S]*100 kV[\s\S]*500 Å/);
    await expectBrightness(table, (v) => 255 * (1 - ((v - table.min) / (table.max - table.min)) ** 0.5));
    const geo = await geometry(table);
    await hover(geo, 3, 20, 20);
    assert.ok((await text('#readout')).startsWith('g = 2 0 \u22122   tilt (H, G) = (0, 0)'));
    quiet();
});

test('the pointer tells reflection, tilt, wave vector and intensity', async () => {
    await open('cbed');
    const table = readTable('cbed_rs0.txt');
    const geo = await geometry(table);
    for (const [r, column, row] of [[0, 12, 12], [2, 5, 14], [6, 20, 8]]) {
        await hover(geo, r, column, row);
        const shown = plain(await text('#readout'));
        const p = row * table.side + column;
        const [H, G] = table.grid[p];
        const [h, k, l] = table.discs[r];
        const kx = 0.5 * H * Math.sqrt(8) / 5.4309;
        assert.ok(shown.includes(`g = ${h} ${k} ${l}`), shown);
        assert.ok(Math.abs(Number(/\(H, G\) = \((\S+),/.exec(shown)[1]) - H) < 1e-3, shown);
        assert.ok(Math.abs(Number(/H, G\) = \(\S+, (\S+)\)/.exec(shown)[1]) - G) < 1e-3, shown);
        assert.ok(Math.abs(Number(/K_t = \((\S+),/.exec(shown)[1]) - kx) < 1e-3, shown);
        assert.equal(Number(/I = (\S+)/.exec(shown)[1]), table.blocks[r][p][0]);
    }
    await page.mouse.move(geo.box.x + 3, geo.box.y + 3);
    await settle();
    assert.equal(await text('#readout'), '', 'nothing outside the discs');
    quiet();
});

test('a click opens a disc, a drag draws a profile', async () => {
    await open('cbed');
    const table = readTable('cbed_rs0.txt');
    const geo = await geometry(table);
    const place = geo.place(3, 12, 12);
    await page.mouse.click(geo.box.x + place.x, geo.box.y + place.y);
    await settle(); // the disc in the dialog gets its size with the next frame
    const name = table.discs[3].slice(0, 3).join(' ');
    assert.ok(plain(await text('#large-title')).includes(name));
    const raster = await page.locator('#large-body canvas').first().boundingBox();
    await page.mouse.move(raster.x + raster.width / 2, raster.y + raster.height / 2);
    await settle();
    assert.ok(plain(await text('#large-readout')).includes(`g = ${name}`));
    await page.keyboard.press('Escape');
    assert.equal(await page.locator('#large').evaluate((dialog) => dialog.open), false);

    const from = geo.place(0, 2, 12);
    const to = geo.place(0, 22, 12);
    await page.mouse.move(geo.box.x + from.x, geo.box.y + from.y);
    await page.mouse.down();
    await page.mouse.move(geo.box.x + to.x, geo.box.y + to.y, { steps: 5 });
    await page.mouse.up();
    await settle();
    assert.ok(await page.locator('#profile').isVisible());
    const series = await page.evaluate(() => document.querySelector('#profile canvas') &&
        kavunPage.profile.content.series[0]);
    const expected = Array.from({ length: 21 }, (_, i) => table.blocks[0][12 * table.side + 2 + i][0]);
    assert.equal(series.y.length, 21);
    series.y.forEach((value, i) => assert.ok(Math.abs(value - expected[i]) < 1e-5 * table.max));
    await page.click('#clear-profile');
    assert.ok(!(await page.locator('#profile').isVisible()));
    quiet();
});

test('everything on the stage can be done with keys', async () => {
    await open('cbed');
    const table = readTable('cbed_rs0.txt');
    await page.locator('#pattern').focus();
    await page.keyboard.press('ArrowRight');
    await page.keyboard.press('n');
    await settle();
    const shown = plain(await text('#readout'));
    assert.ok(shown.includes(`g = ${table.discs[1].slice(0, 3).join(' ')}`), shown);
    assert.equal(Number(/I = (\S+)/.exec(shown)[1]), table.blocks[1][12 * table.side + 13][0]);
    await page.keyboard.press(']');
    assert.match(await text('#facts'), /1000 Å/);
    assert.equal(Number(/I = (\S+)/.exec(plain(await text('#readout')))[1]),
        readTable('cbed_rs1.txt').blocks[1][12 * table.side + 13][0], 'of the thickness now shown');
    await page.keyboard.press('p');
    await page.keyboard.press('ArrowLeft');
    await page.keyboard.press('ArrowLeft');
    await page.keyboard.press('p');
    assert.ok(await page.locator('#profile').isVisible());
    await page.keyboard.press('+');
    assert.equal(await page.locator('#magnification').inputValue(), '1.25');
    await page.keyboard.press('0');
    await page.keyboard.press('Enter');
    assert.ok(await page.locator('#large').evaluate((dialog) => dialog.open));
    await page.keyboard.press('Escape');
    const unnamed = await page.evaluate(() => [...document.querySelectorAll('input, select, button, canvas')]
        .filter((e) => !(e.getAttribute('aria-label') || e.textContent || e.closest('label')?.textContent)).length);
    assert.equal(unnamed, 0, 'every control has a name');
    quiet();
});

test('the theme follows the system and the button', async () => {
    await open('surface');
    const paper = () => page.evaluate(() => getComputedStyle(document.body).backgroundColor);
    const light = await paper();
    await page.emulateMedia({ colorScheme: 'dark' });
    await settle();
    const dark = await paper();
    assert.notEqual(light, dark);
    await page.click('#theme');
    assert.equal(await paper(), light);
    await page.emulateMedia({ colorScheme: 'light' });
    quiet();
});

test('the coherent sum is the squared sum of the amplitudes at one final direction', async () => {
    await open('coherent');
    const table = readTable('coherent_rs0.txt');
    const n = table.side;
    const geo = await geometry(table);
    const shift = table.discs.map((d) => [d[3], d[4]].map((v) => Math.round(v * (n - 1) / n)));
    for (const [column, row] of [[12, 12], [22, 12], [18, 18], [3, 10]]) {
        let [re, im, discs] = [0, 0, 0];
        shift.forEach(([dx, dy], r) => {
            const [c, l] = [column - dx, row - dy];
            if (c >= 0 && l >= 0 && c < n && l < n && table.grid[l * n + c][4]) {
                re += table.blocks[r][l * n + c][0];
                im += table.blocks[r][l * n + c][1];
                ++discs;
            }
        });
        await hover(geo, 0, column, row);
        const shown = await text('#readout');
        assert.ok(shown.includes(`${discs} disc${discs === 1 ? ' ' : 's'}`), shown);
        assert.ok(Math.abs(Number(/I = (\S+)/.exec(shown)[1]) - (re * re + im * im)) < 0.05, shown);
    }
    assert.match(await text('#note'), /nothing is interpolated/);
    for (const quantity of ['modulus', 'phase', 'intensity']) {
        await page.selectOption('#quantity', quantity);
        await hover(geo, 0, 12, 12);
        const [re, im] = table.blocks[0][12 * n + 12];
        const shown = plain(await text('#readout'));
        assert.ok(Math.abs(Number(/ψ\| = (\S+)/.exec(shown)[1]) - Math.hypot(re, im)) < 1e-2, shown);
        assert.ok(Math.abs(Number(/phase = (\S+)/.exec(shown)[1]) - Math.atan2(im, re)) < 1e-3, shown);
    }
    // Apart, no disc hides another: the centres of all are seen, the 000 disc stays in the middle.
    await page.check('#apart');
    await settle();
    const stage = await page.evaluate(() => kavunPage.view.content);
    stage.discs.forEach((a, i) => stage.discs.slice(0, i).forEach((b) =>
        assert.ok(Math.hypot(a.x - b.x, a.y - b.y) >= n)));
    await hover(geo, 0, 12, 12);
    assert.ok((await text('#readout')).startsWith('g = 0 0 0'));
    quiet();
});

test('a sum is read at K_t + g from the incidence on, as the 000 disc is at K_t', async () => {
    const content = readFileSync(join(option.source, 'examples/si_coherent/si_probe0.dat'), 'utf8');
    writeFileSync(join(folder, 'tilted.dat'), content.replace('\n0.0\n0.0\n200\n', '\n-2\n1\n200\n'));
    execFileSync(option.orvel, ['tilted.dat'], { cwd: folder, stdio: 'ignore',
        env: { ...process.env, ORVEL_DATA: join(option.source, 'data') } });
    await open('tilted');
    const geo = await geometry(readTable('tilted_rs0.txt'));
    const vector = async (quantity) => {
        await page.selectOption('#quantity', quantity);
        await hover(geo, 0, 30, 30);
        const shown = plain(await text('#readout'));
        return /K_t(?: \+ g)? = \((\S+), (\S+)\)/.exec(shown).slice(1).map(Number);
    };
    const disc = await vector('intensity');
    (await vector('sum')).forEach((v, i) => assert.ok(Math.abs(v - disc[i]) < 1e-3, `${v} ${disc[i]}`));
    assert.ok(Math.abs(disc[0] + Math.sqrt(8) / 5.4309) < 1e-3, 'H = -2 is -g1');
    quiet();
});

test('a line of tilts gives rocking curves, a single tilt a list', async () => {
    await open('line');
    const line = readTable('line_rs0.txt');
    const canvas = await page.locator('.plot canvas').first().boundingBox();
    await page.mouse.move(canvas.x + canvas.width / 2, canvas.y + 100);
    await settle();
    assert.match(plain(await text('.readout')), /tilt H.*0 0 0: \S+/);
    await page.click('#values summary');
    const row = await page.locator('#values tbody tr').first().locator('td').allInnerTexts();
    assert.deepEqual(row.slice(1).map((v) => Number(plain(v))), line.blocks.map((b) => b[0][0]));
    await page.check('#log');
    await settle();
    quiet();

    // Coherent, about H = 0.5: the first tilt is -1.
    await open('coline');
    const [re, im] = readTable('coline_rs0.txt').blocks[0][0];
    for (const [quantity, value] of [['intensity', re * re + im * im], ['modulus', Math.hypot(re, im)],
        ['phase', Math.atan2(im, re)]]) {
        await page.selectOption('#quantity', quantity);
        await page.locator('#values').evaluate((details) => { details.open = true; });
        const cells = await page.locator('#values tbody tr').first().locator('th, td').allInnerTexts();
        const [H, , first] = cells.map((v) => Number(plain(v)));
        assert.ok(H === -1 && Math.abs(first - value) < 1e-4 * Math.abs(value), cells.join(' '));
    }
    quiet();

    await open('point');
    const point = readTable('point_rs1.txt');
    const cells = await page.locator('tbody tr td:last-child').allInnerTexts();
    assert.deepEqual(cells.map((v) => Number(plain(v))), point.blocks.map((b) => b[0][0]));
    quiet();
});

test('values stay to be read: many curves, a finger, the browser\'s keys, a saved page', async () => {
    await open('line');
    await page.setViewportSize({ width: 420, height: 700 });
    await settle();
    const last = readTable('line_rs0.txt').discs.at(-1).slice(0, 3).join(' ');
    for (const chip of await page.locator('.chip[aria-pressed="false"]').all()) {
        await chip.click();
    }
    const touch = (kind, x) => page.locator('.plot canvas').evaluate((canvas, [type, offset]) => {
        const { left, top } = canvas.getBoundingClientRect();
        canvas.dispatchEvent(new PointerEvent(type,
            { pointerType: 'touch', isPrimary: true, clientX: left + offset, clientY: top + 50 }));
    }, [kind, x]);
    await touch('pointerdown', 200);
    await touch('pointerleave', 200);
    const shown = plain(await text('.readout'));
    assert.ok(shown.includes(`${last}: `), shown);
    assert.ok(await page.locator('.readout').evaluate((p) => p.scrollHeight <= p.clientHeight), shown);
    await page.locator('.plot canvas').focus();
    await page.keyboard.press('Control+ArrowRight');
    assert.equal(plain(await text('.readout')), shown);
    await page.keyboard.press('ArrowRight');
    assert.notEqual(plain(await text('.readout')), shown);
    await page.setViewportSize({ width: 1366, height: 768 });

    const saved = join(folder, 'saved.html');
    writeFileSync(saved, await page.content());
    await page.goto('file://' + saved);
    await settle();
    assert.equal(await page.locator('.view').count(), 1);
    quiet();
});

// Pixels of a canvas that are not of its most frequent colour.
const drawn = (locator) => locator.evaluate((canvas) => {
    const data = new Uint32Array(canvas.getContext('2d').getImageData(0, 0, canvas.width, canvas.height).data.buffer);
    return new Set(data).size;
});

test('dispersion surfaces: branches, amplitudes and intensities under the pointer', async () => {
    await open('surface');
    const rows = readFileSync(join(folder, 'surface_ds.txt'), 'utf8').trim().split('\n').slice(3)
        .map((l) => l.split('\t').map(Number));
    await page.locator('.plot canvas').first().focus();
    for (let i = 0; i < 11; ++i) {
        await page.keyboard.press('ArrowRight');
    }
    await settle();
    const read = async () => plain(await text('.readout'));
    assert.ok((await read()).includes(`branch 2: ${Number(rows[10][3 + 5 + 2].toPrecision(5))} `), await read());
    await page.selectOption('#quantity', 'dk');
    await page.keyboard.press('Tab');
    for (const quantity of ['kn', 'excitation', 'gammaIm']) {
        await page.selectOption('#quantity', quantity);
        await settle();
    }
    quiet();

    await open('area');
    const maps = page.locator('figure canvas');
    assert.equal(await maps.count(), 4 + 4 + 2);
    for (let i = 0; i < 10; ++i) {
        assert.ok(await drawn(maps.nth(i)) > 20, `map ${i}`);
    }
    await page.selectOption('#map', 'cividis');
    quiet();
});

test('Bloch states: square cells, values of all maps at one place', async () => {
    await open('bloch');
    const maps = page.locator('figure canvas');
    assert.equal(await maps.count(), 2 + 2 * 4);
    const frame = await page.evaluate(() => kavunPage.rasters.map(({ raster }) => raster.frame));
    frame.forEach(({ width, height }) => assert.ok(Math.abs(width / height - 1) < 1e-6));
    await maps.first().focus();
    await page.keyboard.press('ArrowUp');
    await settle();
    // The cursor begins in the middle of 31 x 31 points: sample (15, 16).
    const line = readFileSync(join(folder, 'bloch_b1.txt'), 'utf8').split('\n')
        .filter((l) => l && !l.startsWith('#'))[15 * 31 + 16].split('\t').map(Number);
    const shown = plain(await text('#readout'));
    const place = /x, y = (\S+), (\S+) Å/.exec(shown).slice(1).map(Number);
    place.forEach((v, i) => assert.ok(Math.abs(v - line[i] * 5.4309) < 1e-3, shown));
    assert.ok(Math.abs(Number(/Branch 1, density: (\S+)/.exec(shown)[1]) / line[2] - 1) < 1e-4, shown);
    assert.ok(Math.abs(Number(/Branch 1, phase \(rad\): (\S+)/.exec(shown)[1]) - line[3]) < 1e-4, shown);
    quiet();
});

test('hostile names stay text', async () => {
    const evil = '<img src=x onerror=alert(1)>';
    for (const suffix of ['_kav.txt', '_log.txt']) {
        cpSync(join(folder, 'point' + suffix), join(folder, evil + suffix));
    }
    const par = join(folder, 'point.par');
    writeFileSync(par, readFileSync(par, 'utf8').replace('\nSi\n', `\n</script>${evil.replaceAll(' ', '\u00a0')}\n`));
    execFileSync(option.kavun, [join(folder, evil + '_kav.txt')]);
    renameSync(join(folder, 'point_.html'), join(folder, 'evil_.html'));
    complaints = [];
    await page.goto('file://' + join(folder, 'evil_.html'));
    await settle();
    assert.equal(await text('#title'), evil);
    assert.equal(await page.locator('img').count(), 0);
    assert.match(await text('#facts'), /<\/script>/);
    quiet();
});
