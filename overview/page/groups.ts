// The tree of scheduler groups with its figures, at the moment of the page or of a recording's frame.
import type { Cell, Frame, PageData, Row, Table, Timeline } from "./model";
import { columnIndex, findTable } from "./model";

export type GroupKind = "vm" | "process" | "system" | "container";

export interface Group {
   readonly id: string;
   readonly name: string;
   readonly flags: string;
   readonly kind: GroupKind;
   readonly figures: Readonly<Record<string, number | null>>; // by column, KB
   readonly before: Readonly<Record<string, number | null>> | null; // null: it was not there
   readonly children: Group[];
   parent: Group | null;
}

export interface GroupTree {
   readonly root: Group;
   readonly byId: ReadonlyMap<string, Group>;
   readonly figures: readonly string[]; // the columns that groups can be drawn by
   readonly hasBefore: boolean;
}

const KIND_OF_FLAG: readonly (readonly [flag: string, kind: GroupKind])[] = [
   ["vm", "vm"],
   ["vmm", "vm"],
   ["uw", "process"],
   ["sys", "system"],
   ["ke", "system"],
];

function kindOf(flags: string): GroupKind {
   const words = flags.split(":");
   return KIND_OF_FLAG.find(([flag]) => words.includes(flag))?.[1] ?? "container";
}

interface GroupRow {
   readonly group: Group;
   readonly parentId: string;
}

function idText(cell: Cell): string {
   return cell === null ? "" : String(cell);
}

const DEEPEST = 64;

// Joins the groups to a tree. The rows come as the report walks: a parent before its children. What the data
// say is not trusted: a group whose parent does not come before it, or that lies too deep, hangs on the root,
// and of two groups with one ID the first counts.
function joinTree(rows: readonly GroupRow[], figures: readonly string[], hasBefore: boolean): GroupTree | null {
   if (rows.length === 0) {
      return null;
   }
   const root = rows[0].group;
   const byId = new Map([[root.id, root]]);
   const levels = new Map([[root, 0]]);
   for (const { group, parentId } of rows.slice(1)) {
      if (byId.has(group.id)) {
         continue;
      }
      const named = byId.get(parentId) ?? root;
      const parent = (levels.get(named) ?? 0) < DEEPEST ? named : root;
      group.parent = parent;
      parent.children.push(group);
      byId.set(group.id, group);
      levels.set(group, (levels.get(parent) ?? 0) + 1);
   }
   return { root, byId, figures, hasBefore };
}

function numberOf(cell: Cell): number | null {
   return cell === null || cell === "" ? null : Number(cell);
}

function figuresOf(row: Row, columns: readonly (readonly [name: string, index: number])[]): Record<string, number | null> {
   return Object.fromEntries(columns.map(([name, index]) => [name, numberOf(row[index])]));
}

// From the rows of group-stats; null when there are none.
export function treeOfTable(table: Table): GroupTree | null {
   const [gid, parent, name, flags] = ["gid", "parGid", "name", "flags"].map((each) => columnIndex(table, each));
   const columns = table.columns
      .map((column, index) => [column, index] as const)
      .filter(([column]) => column.unit === "KB" && column.role === "gauge")
      .map(([column, index]) => [column.name, index] as const);
   const rows = table.rows.map((row, position): GroupRow => {
      const before = table.before?.[position];
      const flagText = idText(row[flags]);
      return {
         group: {
            id: idText(row[gid]),
            name: idText(row[name]),
            flags: flagText,
            kind: kindOf(flagText),
            figures: figuresOf(row, columns),
            before: before === undefined || before === null ? null : figuresOf(before === 0 ? row : before, columns),
            children: [],
            parent: null,
         },
         parentId: idText(row[parent]),
      };
   });
   return joinTree(rows, columns.map(([each]) => each), table.before !== undefined);
}

function figuresByPlace(frame: Frame): Map<number, readonly number[]> {
   return new Map(frame.groups.map(([place, ...figures]) => [place, figures]));
}

function namedFigures(timeline: Timeline, figures: readonly number[]): Record<string, number | null> {
   return Object.fromEntries(timeline.figures.map((name, i) => [name, figures[i] ?? null]));
}

// From a frame of the recording, compared with the first one.
export function treeOfFrame(timeline: Timeline, frame: Frame): GroupTree | null {
   const first = figuresByPlace(timeline.frames[0]);
   const rows = frame.groups.map(([place, ...figures]): GroupRow => {
      const [gid, parent, name, flags] = timeline.groups[place];
      const before = first.get(place);
      return {
         group: {
            id: idText(gid),
            name,
            flags,
            kind: kindOf(flags),
            figures: namedFigures(timeline, figures),
            before: before === undefined ? null : namedFigures(timeline, before),
            children: [],
            parent: null,
         },
         parentId: idText(parent),
      };
   });
   return joinTree(rows, timeline.figures, true);
}

// The last frame at or before a moment; the first when all are later.
export function frameAt(timeline: Timeline, at: number): Frame | undefined {
   return [...timeline.frames].reverse().find((frame) => frame.at <= at) ?? timeline.frames[0];
}

// Of the moment of the page, or of the recording's moment `at`.
export function treeAt(data: PageData, at: number | null): GroupTree | null {
   const frame = at !== null && data.timeline !== null ? frameAt(data.timeline, at) : undefined;
   if (frame !== undefined && data.timeline !== null) {
      return treeOfFrame(data.timeline, frame);
   }
   const table = findTable(data, "group-stats");
   return table === undefined ? null : treeOfTable(table);
}

// How much a figure of a group changed; null when it is not known. A new group grew from nothing.
export function changeOf(tree: GroupTree, group: Group, figure: string): number | null {
   const now = group.figures[figure];
   if (!tree.hasBefore || now === null || now === undefined) {
      return null;
   }
   return now - (group.before?.[figure] ?? 0);
}

// From the root to the group.
export function pathTo(group: Group): Group[] {
   const path: Group[] = [];
   for (let each: Group | null = group; each !== null; each = each.parent) {
      path.unshift(each);
   }
   return path;
}

const KIND_NAMES: Record<GroupKind, string> = {
   vm: "VM",
   process: "process",
   system: "kernel",
   container: "container",
};

export function kindName(kind: GroupKind): string {
   return KIND_NAMES[kind];
}
