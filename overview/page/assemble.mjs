// Puts the page together: bundles its code, and writes a C++ source with the page's text before and after the
// data. The policy lets run only what is in the page now.
// usage: ESBUILD=PROGRAM LIBRARIES=FOLDER node assemble.mjs FOLDER OUTPUT.cpp
//
// Libraries are looked for in FOLDER/node_modules and LIBRARIES, and licences/*.txt in FOLDER, where what is made
// on the way goes as well.
import { execFileSync } from "node:child_process";
import { createHash } from "node:crypto";
import { readFileSync, writeFileSync } from "node:fs";
import { dirname, join } from "node:path";
import { fileURLToPath } from "node:url";

const sources = dirname(fileURLToPath(import.meta.url));
const [folder, output] = process.argv.slice(2);
const { ESBUILD = "esbuild", LIBRARIES = "/usr/share/nodejs" } = process.env;

execFileSync(
   ESBUILD,
   [
      join(sources, "main.ts"),
      "--bundle",
      "--minify",
      "--charset=utf8",
      "--target=es2020",
      "--log-level=warning",
      "--loader:.txt=text",
      "--legal-comments=none", // the licences are in the page, see licences.ts
      `--outfile=${join(folder, "bundle.js")}`,
   ],
   {
      stdio: "inherit",
      env: { ...process.env, NODE_PATH: [join(folder, "node_modules"), folder, LIBRARIES].join(":") },
   },
);

// Neither may end the element that it is in.
function safeInside(text, element) {
   if (new RegExp(`</${element}|<!--`, "i").test(text)) {
      throw new Error(`the ${element} element would end early`);
   }
   return text;
}

const script = safeInside(readFileSync(join(folder, "bundle.js"), "utf8").trim(), "script");
const style = safeInside(readFileSync(join(folder, "bundle.css"), "utf8").trim(), "style");
const hash = (text) => `'sha256-${createHash("sha256").update(text).digest("base64")}'`;
const policy = [
   "default-src 'none'",
   `script-src ${hash(script)}`,
   `style-src ${hash(style)}`,
   "base-uri 'none'",
   "form-action 'none'",
   "require-trusted-types-for 'script'",
   "trusted-types 'none'",
].join("; ");

const [head, tail] = readFileSync(join(sources, "shell.html"), "utf8")
   .replace("@POLICY@", () => policy)
   .replace("@STYLE@", () => style)
   .replace("@SCRIPT@", () => script)
   .split("@DATA@");

// A C++ string literal, in lines of bounded length.
function literal(text) {
   const escaped = [...Buffer.from(text, "utf8")].map((byte) =>
      byte === 0x22 || byte === 0x5c || byte === 0x3f
         ? `\\${String.fromCharCode(byte)}`
         : byte >= 0x20 && byte < 0x7f
           ? String.fromCharCode(byte)
           : `\\${byte.toString(8).padStart(3, "0")}`,
   );
   const lines = [];
   for (let i = 0; i < escaped.length; i += 100) {
      lines.push(`   "${escaped.slice(i, i + 100).join("")}"`);
   }
   return lines.join("\n");
}

writeFileSync(
   output,
   `// Made by assemble.mjs.
#include "overview/page_bundle.h"

namespace overview {

extern const std::string_view kPageHead(
${literal(head)},
   ${Buffer.byteLength(head)});

extern const std::string_view kPageTail(
${literal(tail)},
   ${Buffer.byteLength(tail)});

} // namespace overview
`,
);
