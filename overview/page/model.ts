// The data that the page shows, as it is in the page. Amounts of memory are in KB.

// A number; a number too large to be exact, as text; a text; null for what the host does not have. A text is
// empty where a row has no value.
export type Cell = number | string | null;

export interface Moment {
   readonly host: string;
   readonly time: string; // ISO 8601, UTC
   readonly source: string; // what answered: this host, a snapshot, a recording
   readonly unread: readonly string[]; // what could not be read, a line each
}

// An amount and what it is made of. The parts add up to it exactly, so that a part may be negative.
export interface AccountItem {
   readonly name: string;
   readonly explanation?: string;
   readonly kb: number;
   readonly before?: number; // the amount at the moment before; absent when there is none
   readonly isDifference?: true; // what is left between a figure and its parts, not a figure of the host
   readonly group?: Cell; // the ID of the group that it is
   readonly parts?: readonly AccountItem[];
}

export interface Account {
   readonly title: string;
   readonly root: AccountItem;
}

export type Severity = "critical" | "warning" | "note";

export interface Finding {
   readonly severity: Severity;
   readonly rule: string;
   readonly subject: string;
   readonly text: string;
   readonly command: string;
}

export interface Column {
   readonly name: string;
   readonly unit: string; // "" for a text, a flag, an ID
   readonly role: "label" | "gauge" | "counter";
   readonly description: string;
}

export type Row = readonly Cell[];

export interface FooterRow {
   readonly kind: string; // "tag" or "total"
   readonly cells: Row;
}

// The rows of a report.
export interface Table {
   readonly report: string;
   readonly title: string;
   readonly columns: readonly Column[];
   readonly rows: readonly Row[];
   readonly footer: readonly FooterRow[];
   readonly notes: readonly string[];
   readonly complete: boolean; // the report came to its end
   readonly leftOut: number; // rows that did not go into the page
   // For each row, what it was at the moment before: null if it was not there, 0 if it was the same. Absent
   // when there is no moment before.
   readonly before?: readonly (Row | null | 0)[];
   readonly gone?: readonly Row[]; // rows of the moment before that are no more
}

// A group at some moment: its place in Timeline.groups, and its figures in the order of
// Timeline.figures.
export type GroupFigures = readonly number[];

// One moment of which account and groups are known.
export interface Frame {
   readonly at: number; // position in Timeline.times
   readonly accounts: readonly AccountItem[]; // in the order of PageData.accounts, without explanations
   readonly groups: readonly GroupFigures[];
}

export interface Series {
   readonly name: string;
   readonly kind: "account" | "group";
   readonly isDifference?: true;
   readonly kb: readonly (number | null)[]; // one per moment
}

export interface Timeline {
   readonly times: readonly number[]; // seconds since 1970, UTC
   readonly recorded: number; // frames in this stretch of the recording, of which `times` is a choice
   readonly series: readonly Series[];
   readonly figures: readonly string[]; // columns of group-stats
   readonly groups: readonly (readonly [gid: Cell, parent: Cell, name: string, flags: string])[];
   readonly frames: readonly Frame[];
}

export interface PageData {
   readonly format: 1;
   readonly program: string;
   readonly now: Moment;
   readonly before: Moment | null;
   readonly accounts: readonly Account[];
   readonly findings: readonly Finding[]; // the most severe first
   readonly findingsLeftOut: number; // that did not go into the page
   readonly tables: readonly Table[];
   readonly timeline: Timeline | null;
}

// The data of this page.
export function readData(): PageData {
   const element = document.getElementById("data");
   if (element === null) {
      throw new Error("the page holds no data");
   }
   return JSON.parse(element.textContent ?? "") as PageData;
}

export function findTable(data: PageData, report: string): Table | undefined {
   return data.tables.find((table) => table.report === report);
}

export function columnIndex(table: Table, name: string): number {
   return table.columns.findIndex((column) => column.name === name);
}
