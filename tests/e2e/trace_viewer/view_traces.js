// Opens each trace in speedscope, served on loopback, in Debian's headless Chromium, and
// prints on one JSON line per trace what the viewer made of it: the text of its page with
// the list of profiles open, and the profile file that its Export button writes (the
// threads, their slices' names and their nesting, as the viewer read them). Keeps a
// screenshot of each trace's first profile in the output folder.
//
//   node view_traces.js NODE_MODULES OUT_DIR TRACE.json...
'use strict';
const fs = require('fs');
const http = require('http');
const path = require('path');

const [modules, outDir, ...traces] = process.argv.slice(2);
const puppeteer = require(path.resolve(modules, 'puppeteer-core'));
const viewer = path.resolve(modules, 'speedscope', 'dist', 'release');

function serve() {
  const server = http.createServer((request, response) => {
    const name = path.basename(decodeURIComponent(new URL(request.url, 'http://x').pathname));
    const trace = traces.find((t) => path.basename(t) === name);
    fs.readFile(trace || path.join(viewer, name || 'index.html'), (error, data) => {
      response.writeHead(error ? 404 : 200);
      response.end(error ? '' : data);
    });
  });
  return new Promise((resolve) => server.listen(0, '127.0.0.1', () => resolve(server)));
}

async function until(test, what, seconds = 30) {
  for (const end = Date.now() + seconds * 1000; Date.now() < end;) {
    const value = await test();
    if (value) return value;
    await new Promise((resolve) => setTimeout(resolve, 200));
  }
  throw new Error(`no ${what} within ${seconds} s`);
}

async function view(browser, base, trace) {
  const page = await browser.newPage();
  const downloads = fs.mkdtempSync(path.join(outDir, 'export-'));
  // Nothing but the loopback server: the viewer works offline.
  await page.setRequestInterception(true);
  page.on('request', (r) => (r.url().startsWith(base) ? r.continue() : r.abort()));
  const cdp = await page.createCDPSession();
  await cdp.send('Browser.setDownloadBehavior', {behavior: 'allow', downloadPath: downloads});
  await page.setViewport({width: 1400, height: 700});
  const name = path.basename(trace);
  await page.goto(`${base}/index.html#profileURL=${encodeURIComponent(`${base}/${name}`)}`);
  const title = await until(() => page.$('xpath/.//*[contains(text(), "(pid ")]'), 'profile');
  await new Promise((resolve) => setTimeout(resolve, 500));  // the flame chart's first frame
  const screenshot = path.join(outDir, name.replace(/\.json$/, '.png'));
  await page.screenshot({path: screenshot});
  await title.click();
  const shown = await page.evaluate(() => document.body.innerText);
  await page.keyboard.press('Escape');
  const [exportButton] = await page.$$('xpath/.//*[contains(text(), "Export")]');
  await exportButton.click();
  const file = await until(() => fs.readdirSync(downloads).find((f) => f.endsWith('.json')),
                           'export');
  const exported = JSON.parse(fs.readFileSync(path.join(downloads, file), 'utf8'));
  await page.close();
  fs.rmSync(downloads, {recursive: true});
  return {trace: name, screenshot, shown, exported};
}

(async () => {
  fs.mkdirSync(outDir, {recursive: true});
  const server = await serve();
  const profile = fs.mkdtempSync(path.join(outDir, 'profile-'));
  const browser = await puppeteer.launch({
    executablePath: '/usr/bin/chromium',
    headless: true,
    userDataDir: profile,
    args: ['--no-sandbox', '--disable-gpu', '--disable-quic', '--no-first-run',
           '--disable-background-networking', '--disable-component-update', '--disable-sync'],
  });
  try {
    for (const trace of traces) {
      console.log(JSON.stringify(await view(browser, `http://127.0.0.1:${server.address().port}`,
                                            trace)));
    }
  } finally {
    await browser.close();
    server.close();
    fs.rmSync(profile, {recursive: true});
  }
})().catch((error) => {
  console.error(error.stack || error);
  process.exit(1);
});
