// Takes a picture of a page of kavun:
//   node screenshot.mjs --packages FOLDER --chromium PROGRAM --page FILE --out FILE
//     [--theme dark] [--set SELECTOR=VALUE]... [--keys KEY,KEY,...] [--drag X,Y,X,Y]
// --set fills an input, chooses an option or (VALUE on or off) sets a box; --keys presses keys on
// the stage; --drag draws a profile, places as fractions of the stage.
import { mkdtempSync, rmSync } from 'node:fs';
import { createRequire } from 'node:module';
import { tmpdir } from 'node:os';
import { join, resolve } from 'node:path';
import { parseArgs } from 'node:util';

const { values: option } = parseArgs({ options: {
    ...Object.fromEntries(['packages', 'chromium', 'page', 'out', 'theme', 'keys', 'drag'].map(
        (name) => [name, { type: 'string' }])), set: { type: 'string', multiple: true } } });
const { chromium } = createRequire(join(resolve(option.packages), 'package.json'))('playwright-core');

const profile = mkdtempSync(join(tmpdir(), 'kavun_shot_'));
const context = await chromium.launchPersistentContext(profile, {
    executablePath: option.chromium, headless: true, viewport: { width: 1440, height: 900 },
    colorScheme: option.theme || 'light',
    args: ['--headless', '--no-sandbox', '--disable-gpu', '--disable-quic', '--no-first-run',
        '--disable-background-networking', '--disable-component-update', '--disable-sync'],
});
const page = await context.newPage();
await page.goto('file://' + encodeURI(resolve(option.page)));
for (const setting of option.set || []) {
    const [selector, value] = setting.split('=');
    const input = page.locator(selector);
    const kind = await input.evaluate((e) => e.tagName === 'SELECT' ? 'select' : e.type);
    await (kind === 'select' ? input.selectOption(value) : kind === 'checkbox' ?
        input.setChecked(value === 'on') : input.fill(value));
}
for (const key of option.keys ? option.keys.split(',') : []) {
    await page.locator('#pattern').press(key);
}
if (option.drag) {
    const box = await page.locator('#pattern').boundingBox();
    const [x0, y0, x1, y1] = option.drag.split(',').map(Number);
    await page.mouse.move(box.x + x0 * box.width, box.y + y0 * box.height);
    await page.mouse.down();
    await page.mouse.move(box.x + x1 * box.width, box.y + y1 * box.height, { steps: 4 });
    await page.mouse.up();
}
await page.evaluate(() => document.activeElement.blur());
await page.waitForTimeout(400);
await page.screenshot({ path: option.out });
await context.close();
rmSync(profile, { recursive: true });
