// A browser that tells on the page: everything that it says, asks for or does wrong fails the test.
import assert from "node:assert/strict";
import { after, before } from "node:test";
import { pathToFileURL } from "node:url";
import { chromium } from "playwright-core";

const FLAGS = [
   "--no-sandbox",
   "--disable-gpu",
   "--disable-quic",
   "--no-first-run",
   "--disable-background-networking",
   "--disable-component-update",
   "--disable-sync",
];

let browser;
export function useBrowser() {
   before(async () => {
      browser = await chromium.launch({ executablePath: process.env.CHROMIUM, args: FLAGS });
   });
   after(() => browser.close());
}

// Opens a page at a hash. `work` gets it; afterwards the page has said what is expected, as a rule nothing.
export async function withPage(file, { hash = "", expected = [], ...options }, work) {
   const context = await browser.newContext({ viewport: { width: 1280, height: 900 }, ...options });
   const page = await context.newPage();
   const said = [];
   const asked = [];
   page.on("console", (message) => said.push(`${message.type()}: ${message.text()}`));
   page.on("pageerror", (error) => said.push(`error: ${error.message}`));
   page.on("dialog", (dialog) => {
      said.push(`dialog: ${dialog.message()}`);
      void dialog.dismiss();
   });
   context.on("request", (request) => asked.push(request.url()));
   const url = pathToFileURL(file).href;
   await page.goto(url + hash);
   try {
      await work(page);
   } finally {
      await context.close();
   }
   assert.deepEqual(said, expected);
   assert.deepEqual([...new Set(asked.map((each) => each.replace(/#.*/s, "")))], [url]);
}

// The hash without its "#", as an object. It follows what is seen after a moment.
export async function hashOf(page) {
   await page.waitForTimeout(400);
   return Object.fromEntries(new URLSearchParams((await page.evaluate(() => location.hash)).slice(1)));
}

// The texts of elements.
export async function texts(page, selector) {
   return (await page.locator(selector).allInnerTexts()).map((text) => text.replace(/\s+/g, " ").trim());
}
