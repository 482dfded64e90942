// Every view of the page, as someone with a pointer uses it.
import assert from "node:assert/strict";
import { test } from "node:test";
import { hashOf, texts, useBrowser, withPage } from "./browser.mjs";
import { changedSample, makePage, recording, sample, twoMoments } from "./hosts.mjs";

useBrowser();
const small = makePage("small.html", "-c", sample("small-host"));
const large = makePage("large.html", "-c", sample("hypervisor-host"));
const two = twoMoments();
const recorded = recording();
const sameNames = makePage("names.html", "-c", changedSample("hypervisor-host", "names", (host) => {
   for (const record of host.nodes["sched/groups/groupName"].records) {
      record.name = /^web-0[12]$/.test(record.name) ? "a/b" : record.name;
   }
}));

const open = (page, view) => page.getByRole("navigation", { name: "Views" }).getByRole("button", { name: view }).click();

test("the header has host, moment and source", () =>
   withPage(small, {}, async (page) => {
      assert.equal(await page.title(), "aspen at 2026-01-15 12:00:00 UTC: memory");
      assert.deepEqual(await texts(page, "h1"), ["aspen"]);
      assert.match((await texts(page, ".moment-line"))[0], /^2026-01-15 12:00:00 UTC .*small-host\.snapshot$/);
   }));

test("findings come first, each with its command", () =>
   withPage(large, {}, async (page) => {
      assert.equal((await texts(page, "#main h2"))[0], "Worth a look");
      assert.match(
         (await texts(page, ".finding"))[0],
         /^! warning vdi-03 has 178\.1 MB swapped, 4\.3 % of its memory, and is swapping hostmem -c .* -r swap-stats/,
      );
   }));

test("of many findings each rule has one line, and opens", () =>
   withPage(large, {}, async (page) => {
      const shown = async () => (await texts(page, ".finding:visible .what")).map((text) => text.replace(/ (has|gave|is) .*/, ""));
      assert.deepEqual(await shown(), ["warning vdi-03", "warning app-02", "note memory state"]);
      const more = page.getByRole("button", { name: "5 more: vm-ballooned" });
      assert.equal(await more.innerText(), "+5");
      await more.click();
      assert.equal(await more.getAttribute("aria-expanded"), "true");
      assert.deepEqual(await shown(), [
         "warning vdi-03",
         ...["app-02", "build-02", "app-05", "app-08", "vdi-03", "vdi-06"].map((name) => `warning ${name}`),
         "note memory state",
      ]);
      await more.click();
      assert.equal((await shown()).length, 3);
   }));

test("few findings are all there", () =>
   withPage(small, {}, async (page) => {
      assert.equal(await page.locator(".finding:visible").count(), 6);
      assert.equal(await page.locator(".finding button").count(), 0);
   }));

test("the parts of the account add up on the page, level by level", () =>
   withPage(large, { hash: "#unit=kb" }, async (page) => {
      const amount = (text) => Number(text.replace(/[^\d\u2212]/g, "").replace("\u2212", "-"));
      const amountsOf = async (level) =>
         Promise.all(
            (await page.locator(`.account tbody tr[aria-level="${level}"]`).all()).map(async (row) =>
               amount(await row.locator("td.figure").first().innerText()),
            ),
         );
      const sum = (amounts) => amounts.reduce((a, b) => a + b, 0);
      const total = amount((await texts(page, ".total strong"))[0]);
      assert.equal(total, 805_306_368);
      assert.equal(sum(await amountsOf(1)), total);
      const kernel = page.locator('.account tbody tr[data-path="kernel"]');
      const ofKernel = amount(await kernel.locator("td.figure").first().innerText());
      await kernel.click();
      assert.equal(await kernel.getAttribute("aria-expanded"), "true");
      assert.equal(sum(await amountsOf(2)), ofKernel);
      await kernel.click();
      assert.equal(await page.locator('.account tbody tr[aria-level="2"]').count(), 0);
   }));

test("the account by group is the other one", () =>
   withPage(small, { hash: "#unit=kb" }, async (page) => {
      await page.getByRole("button", { name: "By group" }).click();
      assert.equal((await texts(page, ".total"))[0], "7,340,032 KB host");
      assert.equal((await hashOf(page)).account, "1");
   }));

test("groups of one name, with any characters, open by themselves", () =>
   withPage(sameNames, { hash: "#account=1&open=2" }, async (page) => {
      const rows = page.locator('.account tbody tr[aria-level="2"]', { hasText: "a/b" });
      assert.equal(await rows.count(), 2);
      await rows.nth(1).click();
      assert.deepEqual(await texts(page, '.account tbody tr[aria-level="3"] .part-name'), ["vmm.10100", "emu.10100", "counted more than once"]);
      await page.keyboard.press("ArrowRight");
      await page.keyboard.press("ArrowLeft");
      assert.equal(await page.evaluate(() => document.activeElement === document.querySelectorAll('.account tr[aria-level="2"]')[1]), true);
   }));

test("amounts have the unit that the findings have", () =>
   withPage(small, {}, async (page) => {
      assert.deepEqual(await texts(page, '.account tr[data-path="free"] td.figure'), ["1.0 GB", "12.5 %"]);
      assert.deepEqual(await texts(page, '.account tr[data-path="unaccounted"] td.figure'), ["266.0 MB", "3.2 %"]);
   }));

test("the largest lead to the group in the picture", () =>
   withPage(large, {}, async (page) => {
      await page.getByRole("button", { name: "db-01" }).click();
      assert.deepEqual(await texts(page, ".crumbs li"), ["host", "machine", "db-01"]);
      assert.deepEqual(await texts(page, ".hits"), ["1 found"]);
   }));

for (const layout of ["icicle", "treemap"]) {
   test(`the ${layout} zooms in and out`, () =>
      withPage(small, { hash: `#view=groups&layout=${layout}` }, async (page) => {
         const canvas = page.locator(".picture canvas");
         const box = await canvas.boundingBox();
         // The second level begins under the root's own part, and machine is the largest group there.
         await canvas.click({ position: { x: 40, y: layout === "icicle" ? box.height * 0.375 : 28 } });
         assert.deepEqual(await texts(page, ".crumbs li"), ["host", "machine"]);
         assert.deepEqual((await texts(page, ".inside tbody th")).sort(), ["birch", "rowan"]);
         assert.equal((await hashOf(page)).zoom, "2");
         await canvas.click({ position: { x: 40, y: 8 } });
         assert.deepEqual(await texts(page, ".crumbs li"), ["host"]);
         await page.getByRole("button", { name: "machine" }).click();
         await page.locator(".crumbs").getByRole("button", { name: "host" }).click();
         assert.deepEqual(await texts(page, ".crumbs li"), ["host"]);
      }));
}

test("Back leads out of a zoom", () =>
   withPage(small, { hash: "#view=groups" }, async (page) => {
      await page.getByRole("button", { name: "machine" }).click();
      await page.goBack();
      assert.deepEqual(await texts(page, ".crumbs li"), ["host"]);
   }));

test("a tooltip has the figures of the group under the pointer", () =>
   withPage(small, { hash: "#view=groups&unit=kb" }, async (page) => {
      const box = await page.locator(".picture canvas").boundingBox();
      await page.mouse.move(box.x + 40, box.y + box.height * 0.375);
      assert.deepEqual(await texts(page, ".tooltip strong"), ["machine"]);
      assert.deepEqual(await texts(page, ".tooltip tr"), [
         "consumed 5,767,168 KB",
         "memSize 7,340,032 KB",
         "touched 1,572,864 KB",
      ]);
      await page.mouse.move(5, 5);
      assert.equal(await page.locator(".tooltip").isVisible(), false);
   }));

test("groups can be drawn by another figure", () =>
   withPage(small, { hash: "#view=groups&unit=kb&zoom=2" }, async (page) => {
      await page.getByLabel("Figure").selectOption("memSize");
      assert.deepEqual(await texts(page, ".inside tbody tr"), [
         "birch VM 4,325,376 KB 58.9 % 2",
         "rowan VM 2,228,224 KB 30.4 % 2",
      ]);
   }));

test("a search counts its hits and goes from one to the next", () =>
   withPage(large, { hash: "#view=groups" }, async (page) => {
      const search = page.getByLabel("Find a group");
      await search.fill("DB-0");
      assert.deepEqual(await texts(page, ".hits"), ["6 found"]);
      await page.getByRole("button", { name: "Next hit" }).click();
      assert.deepEqual(await texts(page, ".hits"), ["1 of 6"]);
      await page.getByRole("button", { name: "Next hit" }).click();
      assert.deepEqual(await texts(page, ".hits"), ["2 of 6"]);
      await page.getByRole("button", { name: "Previous hit" }).click();
      assert.deepEqual(await texts(page, ".hits"), ["1 of 6"]);
      assert.deepEqual(await texts(page, ".crumbs li"), ["host", "machine"]);
      await search.fill("no such group");
      assert.deepEqual(await texts(page, ".hits"), ["0 found"]);
   }));

test("every report has its table, with as many rows as the list says", () =>
   withPage(large, { hash: "#view=reports" }, async (page) => {
      for (const entry of await page.locator(".report-list li button").all()) {
         await entry.click();
         const [report, rows] = (await entry.innerText()).split(/\s+/);
         assert.deepEqual(await texts(page, "#report-title"), [report]);
         assert.deepEqual(await texts(page, ".count"), [`${rows} rows`]);
         assert.notEqual(await page.locator(".rows thead th").count(), 0);
      }
   }));

const columnOf = async (page, name) => (await texts(page, ".rows thead .column-name")).indexOf(name);

async function valuesOf(page, name, count) {
   const at = (await columnOf(page, name)) + 1;
   return (await texts(page, `.rows tbody tr[aria-rowindex] > :nth-child(${at})`)).slice(0, count);
}

test("a click on a column sorts by it: largest first, smallest first, as reported", () =>
   withPage(small, { hash: "#view=reports" }, async (page) => {
      const reported = await valuesOf(page, "name", 12);
      const head = page.locator(".rows thead").getByRole("button", { name: "consumed", exact: false }).first();
      await head.click();
      assert.deepEqual(await valuesOf(page, "name", 3), ["host", "machine", "birch"]);
      assert.deepEqual(await valuesOf(page, "consumed", 3), ["7,340,032", "5,767,168", "3,932,160"]);
      assert.equal(await page.locator('.rows th[aria-sort="descending"]').count(), 1);
      await head.click();
      assert.deepEqual(await valuesOf(page, "consumed", 3), ["16,384", "98,304", "98,304"]);
      assert.equal(await page.locator('.rows th[aria-sort="ascending"]').count(), 1);
      await head.click();
      assert.deepEqual(await valuesOf(page, "name", 12), reported);
   }));

test("columns are filtered by comparison and by text, and all are searched", () =>
   withPage(small, { hash: "#view=reports" }, async (page) => {
      await page.getByLabel("Filter consumed", { exact: true }).fill(">= 3 gb");
      assert.deepEqual(await valuesOf(page, "name", 9), ["host", "machine", "birch", "vmm.birch"]);
      await page.getByLabel("Filter name", { exact: true }).fill("BIRCH");
      assert.deepEqual(await valuesOf(page, "name", 9), ["birch", "vmm.birch"]);
      assert.deepEqual(await texts(page, ".count"), ["2 of 12 rows"]);
      await page.getByLabel("Search all columns").fill("no such text");
      assert.deepEqual(await texts(page, ".rows tbody"), ["No row matches the filters."]);
      await page.getByRole("button", { name: "Clear" }).click();
      assert.deepEqual(await texts(page, ".count"), ["12 rows"]);
      await page.getByLabel("Filter consumed", { exact: true }).fill("98304..131072");
      assert.deepEqual(await valuesOf(page, "name", 9), ["logger", "emu.birch", "emu.rowan"]);
   }));

test("the unit is switched in all views", () =>
   withPage(small, { hash: "#view=reports" }, async (page) => {
      await page.getByRole("button", { name: "GB", exact: true }).click();
      assert.deepEqual(await valuesOf(page, "consumed", 2), ["7.00", "0.63"]);
      await page.getByRole("button", { name: "MB", exact: true }).click();
      assert.deepEqual(await valuesOf(page, "consumed", 2), ["7,168.0", "640.0"]);
      await open(page, "Overview");
      assert.deepEqual(await texts(page, ".total strong"), ["8,192.0 MB"]);
   }));

test("descriptions of columns are at hand, and columns can be put away", () =>
   withPage(small, { hash: "#view=reports" }, async (page) => {
      assert.equal(
         await page.locator(".rows thead button", { hasText: "sharedSaved" }).getAttribute("title"),
         "Estimate of memory savings from page sharing",
      );
      await page.getByText("Columns: what they mean").click();
      const row = page.locator(".columns tbody tr", { hasText: "Estimate of memory savings from page sharing" });
      assert.deepEqual(await texts(page, ".columns tbody tr:nth-child(2) th"), ["gid"]);
      await row.getByRole("checkbox").uncheck();
      assert.equal(await columnOf(page, "sharedSaved"), -1);
      assert.equal((await hashOf(page)).hide, "sharedSaved");
   }));

test("columns of zeros are shown when asked for", () =>
   withPage(small, { hash: "#view=reports" }, async (page) => {
      assert.equal(await columnOf(page, "rMinChildPeak"), -1);
      await page.getByLabel("2 columns of zeros").check();
      assert.notEqual(await columnOf(page, "rMinChildPeak"), -1);
   }));

test("with two moments, figures have their changes, and rows are new or gone", () =>
   withPage(two, { hash: "#view=reports&unit=kb&search=web-0" }, async (page) => {
      const rows = await valuesOf(page, "name", 20);
      assert.ok(rows.includes("web-01 new"), rows.join());
      assert.ok(rows.includes("web-00 gone"), rows.join());
      assert.match((await valuesOf(page, "consumed", 20))[1], /^5,379,720 \+\d/);
      await open(page, "Overview");
      assert.deepEqual(await texts(page, "#grown-title"), ["Who grew"]);
      assert.match((await texts(page, ".moment-line"))[1], /^before 2026-03-17 01:00:00 UTC/);
      assert.match((await texts(page, '.account tr[data-path="free"] .change'))[0], /^\u2212/);
   }));

test("rows are sorted by change", () =>
   withPage(two, { hash: "#view=reports&sort=~consumed" }, async (page) => {
      assert.deepEqual(await valuesOf(page, "name", 2), ["machine", "host"]);
   }));

test("the slider shows account and groups of the moment that it is at", () =>
   withPage(recorded, { hash: "#unit=kb" }, async (page) => {
      const slider = page.getByRole("slider");
      const free = () => texts(page, '.account tr[data-path="free"] td.figure');
      const now = await free();
      await slider.fill("0");
      const first = await free();
      assert.notDeepEqual(first, now);
      assert.equal(first[2], "=");
      assert.match((await texts(page, ".timeline .moment"))[0], /, 1 of 7$/);
      await page.getByRole("button", { name: "Next moment" }).click();
      assert.equal((await hashOf(page)).at, "1");
      await open(page, "Groups");
      const consumed = await texts(page, ".inside h2");
      await slider.fill("6");
      assert.notDeepEqual(await texts(page, ".inside h2"), consumed);
      assert.equal((await hashOf(page)).at, undefined);
   }));

test("a slider that is dragged does not change the location all the time", () =>
   withPage(recorded, {}, async (page) => {
      const changes = await page.evaluate(async () => {
         let count = 0;
         const replaceState = history.replaceState.bind(history);
         history.replaceState = (...values) => {
            count++;
            replaceState(...values);
         };
         const slider = document.querySelector('input[type="range"]');
         for (let i = 0; i <= 300; i++) {
            slider.value = String(i % 6);
            slider.dispatchEvent(new Event("input"));
         }
         await new Promise((done) => setTimeout(done, 1000));
         return count;
      });
      assert.equal(changes, 1);
      assert.equal((await hashOf(page)).at, "0");
   }));

test("the plot shows the account or the largest groups, and takes clicks", () =>
   withPage(recorded, {}, async (page) => {
      assert.ok((await texts(page, ".timeline .key")).includes("free"));
      await page.getByRole("button", { name: "Largest groups" }).click();
      assert.ok((await texts(page, ".timeline .key")).includes("db-01"));
      await page.getByText("Figures of this moment").click();
      assert.equal(await page.locator(".values tbody tr").count(), 8);
      const plot = await page.locator(".chart .u-over").boundingBox();
      await page.mouse.click(plot.x + 3, plot.y + plot.height / 2);
      assert.equal((await hashOf(page)).at, "0");
   }));

test("a link restores what was seen", () =>
   withPage(recorded, { hash: "#view=groups&layout=treemap&zoom=2&find=db&at=2&unit=mb&theme=dark&colour=change" }, async (page) => {
      assert.deepEqual(await texts(page, ".crumbs li"), ["host", "machine"]);
      assert.deepEqual(await texts(page, '[aria-pressed="true"]'), [
         ...(await texts(page, '#header [aria-pressed="true"]')),
         "Account",
         "Treemap",
         "Change",
      ]);
      assert.deepEqual(await texts(page, '#header [aria-pressed="true"]'), ["MB", "Dark"]);
      assert.equal(await page.getByLabel("Find a group").inputValue(), "db");
      assert.match((await texts(page, ".timeline .moment"))[0], /, 3 of 7$/);
      await page.evaluate(() => { location.hash = "#view=reports&report=heap-stats&sort=-size&filter.name=m"; });
      assert.deepEqual(await texts(page, "#report-title"), ["heap-stats"]);
      assert.equal(await page.getByLabel("Filter name", { exact: true }).inputValue(), "m");
   }));

test("a hash of nonsense shows the page all the same", () =>
   withPage(small, { hash: "#view=<b>&zoom=99&report=none&at=7&sort=~~x&account=8&filter.consumed=%3E%3E" }, async (page) => {
      assert.deepEqual(await texts(page, "h1"), ["aspen"]);
      for (const view of ["Groups", "Reports", "Overview"]) {
         await open(page, view);
      }
   }));

test("the theme is the system's until it is chosen", () =>
   withPage(small, { colorScheme: "dark" }, async (page) => {
      const ground = () => page.evaluate(() => getComputedStyle(document.body).backgroundColor);
      const dark = await ground();
      await page.getByRole("button", { name: "Light" }).click();
      assert.notEqual(await ground(), dark);
      await page.getByRole("button", { name: "Dark" }).click();
      assert.equal(await ground(), dark);
      await page.getByRole("group", { name: "Theme" }).getByRole("button", { name: "Auto" }).click();
      assert.equal(await ground(), dark);
      await page.emulateMedia({ colorScheme: "light" });
      // The page is told with one of its next frames.
      for (let i = 0; i < 100 && await ground() === dark; i++) {
         await page.waitForTimeout(50);
      }
      assert.notEqual(await ground(), dark);
   }));

test("nothing is cut or beside the page on a screen of 400 pixels", () =>
   withPage(two, { viewport: { width: 400, height: 800 } }, async (page) => {
      for (const view of ["Overview", "Groups", "Reports"]) {
         await open(page, view);
         assert.equal(await page.evaluate(() => document.documentElement.scrollWidth), 400, view);
      }
   }));

test("a dark page is light on paper, and dark again after", () =>
   withPage(small, { colorScheme: "dark", hash: "#view=groups" }, async (page) => {
      const text = () => page.evaluate(() => getComputedStyle(document.body).color);
      const onScreen = await text();
      await page.evaluate(() => window.dispatchEvent(new Event("beforeprint")));
      assert.equal(await text(), "rgb(26, 34, 44)");
      await page.evaluate(() => window.dispatchEvent(new Event("afterprint")));
      assert.equal(await text(), onScreen);
   }));

test("a print has every row and no controls", () =>
   withPage(large, { hash: "#view=reports" }, async (page) => {
      await page.evaluate(() => window.dispatchEvent(new Event("beforeprint")));
      await page.emulateMedia({ media: "print" });
      assert.equal(await page.locator(".rows tbody tr[aria-rowindex]").count(), 144);
      assert.equal(await page.locator(".controls").isVisible(), false);
   }));

test("the licences of the libraries inside are there", () =>
   withPage(small, {}, async (page) => {
      await page.getByRole("button", { name: "Licences" }).click();
      const text = await page.locator("dialog").innerText();
      assert.match(text, /Mike Bostock/);
      assert.match(text, /Leon Sorokin/);
      await page.keyboard.press("Escape");
      assert.equal(await page.locator("dialog").isVisible(), false);
   }));
