// Names that would run, load or break something if they were anything but text.
import assert from "node:assert/strict";
import { readFileSync } from "node:fs";
import { test } from "node:test";
import { texts, useBrowser, withPage } from "./browser.mjs";
import { HOSTILE_NAMES, hostileNames, manyGroups } from "./hosts.mjs";

useBrowser();
const hostile = hostileNames();

test("hostile names are text in every view, and nothing runs", () =>
   withPage(hostile, {}, async (page) => {
      assert.deepEqual(await texts(page, "h1"), [HOSTILE_NAMES[0]]);
      await page.getByRole("button", { name: "Groups" }).click();
      await page.getByRole("button", { name: "Treemap" }).click();
      const picture = await page.locator(".picture canvas").boundingBox();
      for (const x of [10, 200, 600, 1000]) {
         await page.mouse.move(picture.x + x, picture.y + picture.height / 2);
      }
      await page.getByLabel("Find a group").fill("<script>");
      await page.getByRole("button", { name: "Next hit" }).click();
      await page.getByRole("button", { name: "Reports" }).click();
      for (const report of ["group-stats", "vm-stats", "uw-stats", "swap-stats"]) {
         await page.locator(".report-list li button", { hasText: report }).click();
         const names = new Set(await texts(page, ".rows tbody tr[aria-rowindex] th"));
         assert.ok([...names].some((name) => HOSTILE_NAMES.includes(name)), report);
      }
      await page.getByRole("button", { name: "Overview" }).click();
      await page.getByRole("button", { name: "By group" }).click();
      assert.equal(await page.evaluate(() => window.harmed), undefined);
      assert.equal(await page.locator("img, svg, iframe").count(), 0);
   }));

test("every hostile name is found in the table as it is", () =>
   withPage(hostile, { hash: "#view=reports&report=group-stats" }, async (page) => {
      for (const name of HOSTILE_NAMES) {
         await page.getByLabel("Filter name", { exact: true }).fill(name);
         assert.equal((await texts(page, ".rows tbody tr[aria-rowindex] th"))[0], name);
      }
   }));

test("a link with code in it runs nothing", () =>
   withPage(hostile, { hash: "#view=groups&find=%3Cimg%20src%3Dx%20onerror%3Dwindow.harmed%3D8%3E&zoom=javascript:1" }, async (page) => {
      assert.equal(await page.evaluate(() => window.harmed), undefined);
      assert.equal(await page.getByLabel("Find a group").inputValue(), "<img src=x onerror=window.harmed=8>");
   }));

const REFUSED = "error: This document requires 'TrustedHTML' assignment. The action has been blocked.";

test("the policy lets nothing in, not even by hand", () =>
   withPage(hostile, { expected: [REFUSED] }, async (page) => {
      const harm = () => {
         try {
            document.body.innerHTML = "<p>harm</p>";
         } catch (error) {
            return error.name;
         }
         return "done";
      };
      assert.equal(await page.evaluate(harm), "TypeError");
      const policy = await page.locator('meta[http-equiv="Content-Security-Policy"]').getAttribute("content");
      assert.match(policy, /^default-src 'none'; script-src 'sha256-[^']+'; style-src 'sha256-[^']+'; base-uri 'none';/);
      assert.doesNotMatch(policy, /unsafe|\*|https?:/);
   }));

test("the file has no style attributes, no handlers, no addresses of others to load from", () => {
   const text = readFileSync(hostile, "utf8");
   const data = text.slice(text.indexOf('id="data">') + 10);
   const json = data.slice(0, data.indexOf("</script>"));
   assert.doesNotMatch(json, /[<>&\u2028\u2029]/);
   assert.equal(JSON.parse(json).now.host, HOSTILE_NAMES[0]);
   assert.equal(text.match(/<script/g).length, 2);
   const shell = text.slice(0, text.indexOf("<style>"));
   assert.doesNotMatch(shell, / (style|on\w+|src|href)=/);
   assert.ok(Buffer.byteLength(text) - Buffer.byteLength(json) < 500_000);
});

test("of ten thousand groups the page has the largest in view, and all in the table", () =>
   withPage(manyGroups(10_000), { hash: "#view=reports&report=group-stats" }, async (page) => {
      assert.deepEqual(await texts(page, ".count"), ["10,000 rows"]);
      assert.ok((await page.locator(".rows tbody tr").count()) < 200);
      await page.locator(".scroll").evaluate((element) => { element.scrollTop = element.scrollHeight; });
      await page.waitForSelector('.rows tr[aria-rowindex="10002"]');
      await page.evaluate(() => window.dispatchEvent(new Event("beforeprint")));
      assert.deepEqual((await texts(page, ".rows tbody tr")).at(-1), "9,000 more rows are not printed.");
      await page.evaluate(() => window.dispatchEvent(new Event("afterprint")));
      await page.getByRole("button", { name: "Groups" }).click();
      await page.getByRole("button", { name: "Treemap" }).click();
      await page.getByRole("button", { name: "Icicle" }).click();
   }));
