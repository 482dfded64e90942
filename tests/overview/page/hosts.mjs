// The pages that the tests open: of the samples, of two moments, of a recording, of hostile names, of many groups.
import { execFileSync } from "node:child_process";
import { mkdtempSync, readFileSync, rmSync, writeFileSync } from "node:fs";
import { tmpdir } from "node:os";
import { join } from "node:path";

const { PROGRAMS, LIBRARY_FOLDER, SAMPLES, SAMPLE_SOURCES, RECORD_SNAPSHOTS, MAKE_GROUPS } = process.env;

const folder = mkdtempSync(join(tmpdir(), "overview-page-"));
process.on("exit", () => rmSync(folder, { recursive: true, force: true }));

export function inFolder(name) {
   return join(folder, name);
}

function run(program, ...words) {
   execFileSync(program, words, {
      env: { ...process.env, LD_LIBRARY_PATH: LIBRARY_FOLDER },
      stdio: ["ignore", "ignore", "inherit"],
   });
}

// Writes a page and gives its path.
export function makePage(name, ...words) {
   const path = inFolder(name);
   run(join(PROGRAMS, "hostmem-overview"), ...words, "--html", path, "--force");
   return path;
}

export function sample(name) {
   return join(SAMPLES, `${name}.snapshot`);
}

// The snapshot of a sample that is changed on the way.
export function changedSample(name, newName, change) {
   const host = JSON.parse(readFileSync(join(SAMPLE_SOURCES, `${name}.json`), "utf8"));
   change(host);
   const source = inFolder(`${newName}.json`);
   const snapshot = inFolder(`${newName}.snapshot`);
   writeFileSync(source, JSON.stringify(host));
   run(join(PROGRAMS, "hostmem-snapshot"), "import", source, "--force", "-o", snapshot);
   return snapshot;
}

function recordsOf(host, node) {
   return host.nodes[node].records;
}

// The hypervisor host `hours` earlier: some VMs were smaller, one was not there, one has gone since.
export function earlierHost(hours) {
   return changedSample("hypervisor-host", `earlier-${hours}`, (host) => {
      host.captured = new Date(Date.parse(host.captured) - hours * 3600_000).toISOString().replace(".000Z", "Z");
      for (const [i, record] of recordsOf(host, "sched/groups/stats/memoryStats").entries()) {
         record.consumed = Math.round((record.consumed ?? 0) * (1 - (hours * ((i % 5) + 1)) / 100));
      }
      const memory = recordsOf(host, "memory/comprehensive")[0];
      memory.free += hours * 5_000_000;
      memory.orskaClientConsumed -= hours * 5_000_000;
      recordsOf(host, "sched/groups/groupName").find(({ keys }) => keys[0] === 1000).name = "web-00";
   });
}

export const twoMoments = () =>
   makePage("two.html", "-c", sample("hypervisor-host"), "--against", earlierHost(2));

// A recording of some moments, the last one now.
export function recording() {
   const recorded = inFolder("recording");
   const hours = [6, 5, 4, 3, 2, 1];
   execFileSync("mkdir", ["-p", recorded]);
   run(RECORD_SNAPSHOTS, recorded, String(hours.length + 1), ...hours.map(earlierHost), sample("hypervisor-host"));
   return makePage("recording.html", "--dir", recorded, "--from", "now-24h");
}

// Names that would do something if the page took them for anything but text. Records hold 63 bytes of a name.
export const HOSTILE_NAMES = [
   "<script>window.harmed = 1</script>",
   "<img src=x onerror=window.harmed=2>",
   "</script><script>window.harmed = 3</script>",
   "\"><svg onload=window.harmed=4>",
   "' onmouseover='window.harmed=5",
   "<!--<script>",
   "&lt;b&gt; &amp; &#60;i&#62;",
   "javascript:window.harmed=6",
   "${window.harmed=7} {{harmed}}",
   "]]></script>",
];

export const hostileNames = () => {
   let next = 0;
   const snapshot = changedSample("hypervisor-host", "hostile", (host) => {
      host.host = HOSTILE_NAMES[0];
      for (const node of ["sched/groups/groupName", "vm/vmmGroupInfo"]) {
         for (const record of recordsOf(host, node)) {
            const name = HOSTILE_NAMES[next++ % HOSTILE_NAMES.length];
            record["name" in record ? "name" : "displayName"] = name;
         }
      }
   });
   return makePage("hostile.html", "-c", snapshot);
};

export function manyGroups(count) {
   const snapshot = inFolder(`groups-${count}.snapshot`);
   run(MAKE_GROUPS, String(count), "ordered", snapshot);
   return makePage(`groups-${count}.html`, "-c", snapshot);
}
