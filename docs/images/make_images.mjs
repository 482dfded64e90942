// The pictures of the page in README: a sample host, and what it was some hours before.
import { chromium } from "playwright-core";
import { execFileSync } from "node:child_process";
import { join } from "node:path";
import { pathToFileURL } from "node:url";
import { twoMoments } from "./hosts.mjs";

const IMAGES = [
   { name: "overview-page-light", hash: "#open=in%20use&open=kernel", colorScheme: "light" },
   { name: "overview-page-dark", hash: "#view=groups", colorScheme: "dark" },
];

const url = pathToFileURL(twoMoments()).href;
const browser = await chromium.launch({
   executablePath: process.env.CHROMIUM,
   args: ["--no-sandbox", "--disable-gpu", "--no-first-run", "--disable-background-networking"],
});
for (const { name, hash, colorScheme } of IMAGES) {
   const page = await browser.newPage({ viewport: { width: 1280, height: 800 }, colorScheme });
   await page.goto(url + hash);
   // A path of the machine that it is made on says nothing to the reader.
   await page.evaluate(() => {
      for (const each of document.querySelectorAll(".source, .command")) {
         each.textContent = each.textContent.replace(/\S*\//g, "");
      }
   });
   const path = join(process.env.IMAGES, `${name}.png`);
   await page.screenshot({ path });
   execFileSync("pngquant", ["--force", "--strip", "--speed", "1", "--output", path, "128", path]);
   await page.close();
}
await browser.close();
