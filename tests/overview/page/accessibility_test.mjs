// No finding of axe-core in any view, light and dark.
import assert from "node:assert/strict";
import { createRequire } from "node:module";
import { test } from "node:test";
import { useBrowser, withPage } from "./browser.mjs";
import { makePage, recording, sample, twoMoments } from "./hosts.mjs";

useBrowser();
const axe = createRequire(import.meta.url).resolve("axe-core/axe.min.js");
const pages = {
   "one moment": makePage("large.html", "-c", sample("hypervisor-host")),
   "two moments": twoMoments(),
   "a recording": recording(),
};
const VIEWS = {
   overview: "#open=in%20use&open=kernel",
   icicle: "#view=groups&find=db",
   treemap: "#view=groups&layout=treemap&zoom=2&colour=change",
   reports: "#view=reports&filter.consumed=%3E0&sort=-consumed",
   "small report": "#view=reports&report=pshare-stats",
};

for (const [host, file] of Object.entries(pages)) {
   for (const [view, hash] of Object.entries(VIEWS)) {
      for (const colorScheme of ["light", "dark"]) {
         // The checker is a script of ours in the page, which the page's policy would not let in.
         test(`${view} of ${host}, ${colorScheme}`, () =>
            withPage(file, { hash, colorScheme, bypassCSP: true }, async (page) => {
               for (const each of await page.locator("details").all()) {
                  await each.evaluate((element) => { element.open = true; });
               }
               await page.addScriptTag({ path: axe });
               const { violations } = await page.evaluate(() => window.axe.run(document, { resultTypes: ["violations"] }));
               assert.deepEqual(
                  violations.map(({ id, nodes }) => [id, nodes.slice(0, 3).map(({ html, failureSummary }) => [html, failureSummary])]),
                  [],
               );
            }));
      }
   }
}
