// The page by keyboard alone.
import assert from "node:assert/strict";
import { test } from "node:test";
import { hashOf, texts, useBrowser, withPage } from "./browser.mjs";
import { makePage, recording, sample } from "./hosts.mjs";

useBrowser();
const small = makePage("small.html", "-c", sample("small-host"));
const recorded = recording();

// Presses Tab until the element has the focus.
async function tabTo(page, selector) {
   for (let i = 0; i < 200; i++) {
      await page.keyboard.press("Tab");
      if (await page.evaluate((each) => document.activeElement.matches(each), selector)) {
         return;
      }
   }
   assert.fail(`${selector} is never reached by Tab`);
}

const said = (page) => page.locator("#announcements").innerText();
const focusedText = (page) => page.evaluate(() => document.activeElement.innerText.replace(/\s+/g, " ").trim());

test("the focus is seen wherever it is", () =>
   withPage(small, {}, async (page) => {
      for (let i = 0; i < 25; i++) {
         await page.keyboard.press("Tab");
         const outline = await page.evaluate(() => {
            const style = getComputedStyle(document.activeElement);
            return document.activeElement === document.body || (style.outlineStyle === "solid" && parseInt(style.outlineWidth) >= 2);
         });
         assert.ok(outline, await focusedText(page));
      }
   }));

test("the views are reached and chosen", () =>
   withPage(small, {}, async (page) => {
      await tabTo(page, ".tabs li:nth-child(3) button");
      await page.keyboard.press("Enter");
      assert.deepEqual(await texts(page, "#report-title"), ["group-stats"]);
      assert.equal(await said(page), "Reports");
   }));

test("arrow keys walk the account and open it", () =>
   withPage(small, {}, async (page) => {
      await tabTo(page, ".account tbody tr");
      assert.match(await focusedText(page), /in use/);
      await page.keyboard.press("ArrowRight");
      assert.equal(await said(page), "in use opened");
      await page.keyboard.press("ArrowRight");
      assert.match(await focusedText(page), /VMs/);
      await page.keyboard.press("ArrowLeft");
      assert.match(await focusedText(page), /in use/);
      await page.keyboard.press("ArrowLeft");
      assert.equal(await said(page), "in use closed");
      await page.keyboard.press("End");
      const last = await focusedText(page);
      await page.keyboard.press("ArrowUp");
      assert.notEqual(await focusedText(page), last);
      await page.keyboard.press("Home");
      assert.match(await focusedText(page), /in use/);
      await page.keyboard.press("Enter");
      assert.equal((await hashOf(page)).open, "in use");
   }));

test("arrow keys walk the picture of the groups and say what is there", () =>
   withPage(small, { hash: "#view=groups&unit=kb" }, async (page) => {
      await tabTo(page, ".picture");
      await page.keyboard.press("ArrowDown");
      assert.equal(await said(page), "machine, container, 5,767,168 KB, 2 groups inside");
      await page.keyboard.press("ArrowRight");
      assert.equal(await said(page), "system, container, 655,360 KB, 2 groups inside");
      await page.keyboard.press("ArrowLeft");
      await page.keyboard.press("Enter");
      assert.deepEqual(await texts(page, ".crumbs li"), ["host", "machine"]);
      await page.keyboard.press("ArrowDown");
      assert.equal(await said(page), "birch, VM, 3,932,160 KB, 2 groups inside");
      await page.keyboard.press("ArrowUp");
      assert.equal(await said(page), "machine, container, 5,767,168 KB, 2 groups inside");
      await page.keyboard.press("Escape");
      assert.deepEqual(await texts(page, ".crumbs li"), ["host"]);
      await page.keyboard.press("ArrowDown");
      await page.keyboard.press("Enter");
      await page.keyboard.press("Home");
      assert.deepEqual(await texts(page, ".crumbs li"), ["host"]);
   }));

test("Enter in the search goes from hit to hit", () =>
   withPage(small, { hash: "#view=groups" }, async (page) => {
      await tabTo(page, 'input[aria-label="Find a group"]');
      await page.keyboard.type("birch");
      await page.keyboard.press("Enter");
      assert.deepEqual(await texts(page, ".hits"), ["1 of 3"]);
      assert.equal(await page.evaluate(() => document.activeElement.className), "picture");
   }));

test("a table is sorted, filtered and scrolled", () =>
   withPage(small, { hash: "#view=reports" }, async (page) => {
      await tabTo(page, ".rows thead th:nth-child(2) button");
      await page.keyboard.press("Enter");
      assert.equal(await said(page), "Sorted by gid, ascending");
      await page.keyboard.press("Space");
      assert.equal(await said(page), "Sorted by gid, descending");
      await tabTo(page, ".filters td:first-child input");
      await page.keyboard.type("rowan");
      assert.deepEqual(await texts(page, ".count"), ["3 of 12 rows"]);
      await page.evaluate(() => document.querySelector(".scroll").focus());
      await page.keyboard.press("ArrowRight");
      await page.waitForFunction(() => document.querySelector(".scroll").scrollLeft > 0);
   }));

test("the slider moves by arrow keys and says the moment", () =>
   withPage(recorded, {}, async (page) => {
      await tabTo(page, 'input[type="range"]');
      await page.keyboard.press("ArrowLeft");
      assert.equal((await hashOf(page)).at, "5");
      assert.match(
         await page.evaluate(() => document.activeElement.getAttribute("aria-valuetext")),
         /^\d{4}-\d\d-\d\d \d\d:\d\d:\d\d UTC$/,
      );
      await page.keyboard.press("Home");
      assert.equal((await hashOf(page)).at, "0");
   }));

test("the licences open, close, and give the focus back", () =>
   withPage(small, {}, async (page) => {
      await tabTo(page, "#footer button");
      await page.keyboard.press("Enter");
      assert.equal(await page.locator("dialog").isVisible(), true);
      await page.keyboard.press("Escape");
      assert.equal(await focusedText(page), "Licences");
   }));
