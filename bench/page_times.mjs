// How long the page of a host with 10,000 groups takes to be there, and to zoom. Prints, and judges nothing.
import { chromium } from "playwright-core";
import { pathToFileURL } from "node:url";
import { statSync } from "node:fs";
import { manyGroups } from "./hosts.mjs";

const GROUPS = 10_000;
const RUNS = 9;

function median(times) {
   return [...times].sort((a, b) => a - b)[Math.floor(times.length / 2)];
}

function report(what, times) {
   const [least, most] = [Math.min(...times), Math.max(...times)];
   console.log(`${what.padEnd(44)} ${median(times).toFixed(0)} ms (${least.toFixed(0)} to ${most.toFixed(0)})`);
}

// From the key to the frame after the one that shows what it did.
const timeOfKey = (key) =>
   new Promise((resolve) => {
      const picture = document.querySelector(".picture");
      picture.focus();
      const start = performance.now();
      picture.dispatchEvent(new KeyboardEvent("keydown", { key, bubbles: true }));
      requestAnimationFrame(() => requestAnimationFrame(() => resolve(performance.now() - start)));
   });

const file = manyGroups(GROUPS);
const browser = await chromium.launch({
   executablePath: process.env.CHROMIUM,
   args: ["--no-sandbox", "--disable-gpu", "--disable-quic", "--no-first-run", "--disable-background-networking",
      "--disable-component-update", "--disable-sync"],
});
console.log(`${GROUPS} groups, ${(statSync(file).size / 1024 / 1024).toFixed(1)} MB, median of ${RUNS}`);
for (const view of ["overview", "groups", "reports"]) {
   const times = [];
   for (let i = 0; i < RUNS; i++) {
      const page = await browser.newPage({ viewport: { width: 1280, height: 900 } });
      await page.goto(`${pathToFileURL(file).href}#view=${view}`);
      // The page draws itself before its first frame.
      times.push(await page.evaluate(() => new Promise((resolve) =>
         requestAnimationFrame(() => setTimeout(() =>
            resolve(performance.getEntriesByName("first-contentful-paint")[0]?.startTime ?? performance.now()), 50)))));
      await page.close();
   }
   report(`first paint, ${view}`, times);
}
for (const layout of ["icicle", "treemap"]) {
   const page = await browser.newPage({ viewport: { width: 1280, height: 900 } });
   await page.goto(`${pathToFileURL(file).href}#view=groups&layout=${layout}`);
   const [zoomIn, zoomOut] = [[], []];
   for (let i = 0; i < RUNS; i++) {
      await page.evaluate(timeOfKey, "ArrowDown");
      zoomIn.push(await page.evaluate(timeOfKey, "Enter"));
      zoomOut.push(await page.evaluate(timeOfKey, "Escape"));
   }
   report(`zoom in, ${layout}`, zoomIn);
   report(`zoom out, ${layout}`, zoomOut);
   await page.close();
}
await browser.close();
