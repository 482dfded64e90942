// The rows of a report as they are seen: which columns, which rows, in which order, and each cell as a text.
import { formatNumber, tableUnit } from "./amounts";
import type { UnitChoice } from "./amounts";
import type { Cell, Column, Row, Table } from "./model";
import type { State } from "./state";

export interface TableRow {
   readonly cells: Row;
   readonly before: Row | null; // null: not known, or not there
   readonly state: "kept" | "new" | "gone";
}

export interface TableColumn {
   readonly column: Column;
   readonly index: number; // in the rows
   readonly isFigure: boolean;
   readonly isMemory: boolean; // in KB, to be shown in the unit that is chosen
   readonly isQuiet: boolean; // every figure in it is 0 or missing
}

export function rowsOf(table: Table): TableRow[] {
   const { before } = table;
   const rows = table.rows.map((cells, i): TableRow => {
      const former = before?.[i];
      return former === undefined
         ? { cells, before: null, state: "kept" }
         : former === null
           ? { cells, before: null, state: "new" }
           : { cells, before: former === 0 ? cells : former, state: "kept" };
   });
   return [...rows, ...(table.gone ?? []).map((cells): TableRow => ({ cells, before: null, state: "gone" }))];
}

function isNothing(cell: Cell | undefined): boolean {
   return cell === 0 || cell === null || cell === "" || cell === undefined;
}

// The columns, that of the names first.
export function columnsOf(table: Table, rows: readonly TableRow[]): TableColumn[] {
   const columns = table.columns.map((column, index): TableColumn => {
      const isFigure = column.role !== "label";
      return {
         column,
         index,
         isFigure,
         isMemory: column.unit === "KB",
         isQuiet:
            isFigure &&
            rows.length > 0 &&
            rows.every((row) => isNothing(row.cells[index]) && isNothing(row.before?.[index])),
      };
   });
   const name = columns.findIndex(({ column }) => column.name === "name");
   return name <= 0 ? columns : [columns[name], ...columns.slice(0, name), ...columns.slice(name + 1)];
}

export function shownColumns(columns: readonly TableColumn[], state: Readonly<State>): TableColumn[] {
   return columns.filter(
      ({ column, isQuiet }, i) => i === 0 || (!state.hidden.includes(column.name) && !(state.quiet && isQuiet)),
   );
}

export function cellText(cell: Cell | undefined, column: TableColumn, unit: UnitChoice): string {
   if (cell === null || cell === undefined) {
      return "–"; // the host has no such figure
   }
   if (typeof cell === "string" || !column.isFigure) {
      return String(cell);
   }
   if (column.isMemory) {
      const { kb, digits } = tableUnit(unit);
      return formatNumber(cell / kb, digits);
   }
   return formatNumber(cell);
}

// How much the figure changed; null where that is not known.
export function cellChange(row: TableRow, column: TableColumn): number | null {
   const now = row.cells[column.index];
   const before = row.before?.[column.index];
   return column.isFigure && typeof now === "number" && typeof before === "number" ? now - before : null;
}

export function changeText(change: number, column: TableColumn, unit: UnitChoice): string {
   return change === 0 ? "" : (change > 0 ? "+" : "") + cellText(change, column, unit);
}

type Test = (cell: Cell | undefined) => boolean;

const UNIT_KB: Record<string, number> = { kb: 1, mb: 1024, gb: 1024 * 1024 };

// ">100", "<= 2 gb", "10..20"; null for a text that is no comparison. A number without a unit of its own is in
// the one that the table shows.
function comparison(text: string, column: TableColumn, unit: UnitChoice): Test | null {
   const amount = (digits: string, word: string | undefined): number =>
      Number(digits.replace(/,/g, "")) *
      (column.isMemory ? (word === undefined ? tableUnit(unit).kb : UNIT_KB[word.toLowerCase()]) : 1);
   const number = (cell: Cell | undefined): number => (cell === null || cell === "" ? NaN : Number(cell));
   const range = /^(-?[\d.,]+?)\s*(kb|mb|gb)?\s*\.\.\s*(-?[\d.,]+)\s*(kb|mb|gb)?$/i.exec(text);
   if (range !== null) {
      const [least, most] = [amount(range[1], range[2] ?? range[4]), amount(range[3], range[4])];
      return (cell) => number(cell) >= least && number(cell) <= most;
   }
   const single = /^(<=|>=|<|>|=)\s*(-?[\d.,]+)\s*(kb|mb|gb)?$/i.exec(text);
   if (single === null) {
      return null;
   }
   const limit = amount(single[2], single[3]);
   switch (single[1]) {
      case "<":
         return (cell) => number(cell) < limit;
      case "<=":
         return (cell) => number(cell) <= limit;
      case ">":
         return (cell) => number(cell) > limit;
      case ">=":
         return (cell) => number(cell) >= limit;
      default:
         return (cell) => number(cell) === limit;
   }
}

function filterTest(text: string, column: TableColumn, unit: UnitChoice): Test {
   const wanted = text.trim().toLowerCase();
   return (
      (column.isFigure ? comparison(wanted, column, unit) : null) ??
      ((cell) => cellText(cell, column, unit).toLowerCase().includes(wanted))
   );
}

function compareCells(a: Cell | undefined, b: Cell | undefined): number {
   const isMissing = (cell: Cell | undefined): boolean => cell === null || cell === undefined || cell === "";
   if (isMissing(a) || isMissing(b)) {
      return Number(isMissing(a)) - Number(isMissing(b));
   }
   if (typeof a === "number" && typeof b === "number") {
      return a - b;
   }
   return String(a).localeCompare(String(b), "en", { numeric: true });
}

export interface Sorting {
   readonly column: string;
   readonly by: "up" | "down" | "change";
}

export function sortingOf(state: Readonly<State>): Sorting | null {
   const { sort } = state;
   if (sort === "") {
      return null;
   }
   return sort.startsWith("-")
      ? { column: sort.slice(1), by: "down" }
      : sort.startsWith("~")
        ? { column: sort.slice(1), by: "change" }
        : { column: sort, by: "up" };
}

function sorted(rows: readonly TableRow[], columns: readonly TableColumn[], sorting: Sorting | null): readonly TableRow[] {
   const column = columns.find((each) => each.column.name === sorting?.column);
   if (sorting === null || column === undefined) {
      return rows;
   }
   const valueOf = (row: TableRow): Cell | undefined =>
      sorting.by === "change" ? cellChange(row, column) : row.cells[column.index];
   const direction = sorting.by === "up" ? 1 : -1;
   return [...rows].sort((a, b) => {
      const [x, y] = [valueOf(a), valueOf(b)];
      const isAnyMissing = x === null || y === null || x === "" || y === "";
      return isAnyMissing ? compareCells(x, y) : direction * compareCells(x, y); // what is missing comes last
   });
}

// The rows that pass the search and the filters, in the order that is asked for.
export function chosenRows(rows: readonly TableRow[], columns: readonly TableColumn[], state: Readonly<State>): readonly TableRow[] {
   const tests = columns
      .filter(({ column }) => (state.filters[column.name] ?? "").trim() !== "")
      .map((column) => [column.index, filterTest(state.filters[column.column.name], column, state.unit)] as const);
   const wanted = state.search.trim().toLowerCase();
   const passes = (row: TableRow): boolean =>
      tests.every(([index, test]) => test(row.cells[index])) &&
      (wanted === "" ||
         columns.some((column) => cellText(row.cells[column.index], column, state.unit).toLowerCase().includes(wanted)));
   const chosen = tests.length === 0 && wanted === "" ? rows : rows.filter(passes);
   return sorted(chosen, columns, sortingOf(state));
}
