// The reports as tables. Of a long one, only the rows in view are in the page.
import { formatNumber, formatTime, tableUnit } from "./amounts";
import { announce, button, make, selection } from "./elements";
import type { Cell, PageData, Table } from "./model";
import type { State, Store } from "./state";
import type { TableColumn, TableRow } from "./table_rows";
import { cellChange, cellText, changeText, chosenRows, columnsOf, rowsOf, shownColumns, sortingOf } from "./table_rows";

const ROW_HEIGHT = 28; // pixels, as in the style sheet
const ROWS_BEYOND = 12; // kept ready above and below what is in view
const ROWS_PRINTED = 1000;

interface Prepared {
   readonly table: Table;
   readonly rows: readonly TableRow[];
   readonly columns: readonly TableColumn[];
}

export class TableView {
   readonly element: HTMLElement;
   private readonly reports = make("ul");
   private readonly reportChoice: HTMLSelectElement;
   private readonly title = make("h2", { id: "report-title" });
   private readonly search: HTMLInputElement;
   private readonly count = make("span", { class: "dim count", role: "status" });
   private readonly quiet = make("input", { type: "checkbox" });
   private readonly quietLabel = make("span");
   private readonly notes = make("div", { class: "notes" });
   private readonly legend = make("details", { class: "columns" }, make("summary", {}, "Columns"));
   private readonly scroll = make("div", { class: "scroll", tabindex: 0, role: "region", "aria-label": "Rows" });
   private readonly columnSizes = make("colgroup");
   private readonly headRow = make("tr");
   private readonly filterRow = make("tr", { class: "filters" });
   private readonly body = make("tbody");
   private readonly foot = make("tfoot");
   private readonly grid: HTMLTableElement;

   private prepared: Prepared | null = null;
   private shown: readonly TableColumn[] = [];
   private chosen: readonly TableRow[] = [];
   private headKey = "";
   private firstDrawn = -1;
   private isPrinting = false;

   constructor(
      private readonly data: PageData,
      private readonly store: Store,
   ) {
      const choose = (report: string): void => store.change({ report, sort: "", search: "", filters: {}, hidden: [] });
      this.reportChoice = selection(
         "Report",
         data.tables.map(({ report, rows }): [string, string] => [report, `${report} (${rows.length})`]),
         choose,
      );
      this.reports.replaceChildren(
         ...data.tables.map(({ report, title, rows }) =>
            make("li", {}, button("", { title, "data-report": report, class: rows.length === 0 ? "none" : "" }, () => choose(report))),
         ),
      );
      this.search = make("input", { type: "search", placeholder: "Search all columns", "aria-label": "Search all columns", size: 20 });
      this.search.addEventListener("input", () => store.change({ search: this.search.value }));
      this.quiet.addEventListener("change", () => store.change({ quiet: !this.quiet.checked }));
      this.grid = make("table", { class: "rows" }, this.columnSizes, make("thead", {}, this.headRow, this.filterRow), this.body, this.foot);
      this.scroll.append(this.grid);
      this.scroll.addEventListener("scroll", () => requestAnimationFrame(() => this.drawRows(false)));
      this.element = this.build();
   }

   private build(): HTMLElement {
      for (const each of this.reports.querySelectorAll<HTMLElement>("button")) {
         const table = this.data.tables.find(({ report }) => report === each.dataset.report);
         each.append(make("span", {}, table?.report ?? ""), make("span", { class: "dim" }, formatNumber(table?.rows.length ?? 0)));
      }
      return make(
         "div",
         { class: "reports" },
         make("nav", { class: "report-list", "aria-label": "Reports" }, this.reports, this.reportChoice),
         make(
            "section",
            { class: "report" },
            make("div", { class: "toolbar" }, this.title, this.search, this.count,
               make("label", { class: "field" }, this.quiet, this.quietLabel),
               button("Clear", { class: "small" }, () => this.store.change({ sort: "", search: "", filters: {}, hidden: [] }))),
            this.notes,
            this.scroll,
            this.legend,
         ),
      );
   }

   render(state: Readonly<State>): void {
      const table = this.data.tables.find(({ report }) => report === state.report) ?? this.data.tables[0];
      this.scroll.hidden = table === undefined;
      if (table === undefined) {
         this.title.textContent = "No report was read.";
         return;
      }
      if (this.prepared?.table !== table) {
         const rows = rowsOf(table);
         this.prepared = { table, rows, columns: columnsOf(table, rows) };
         this.scroll.scrollTop = 0;
         this.scroll.scrollLeft = 0;
      }
      const { rows, columns } = this.prepared;
      this.shown = shownColumns(columns, state);
      this.chosen = chosenRows(rows, columns, state);
      this.renderChoice(table, state);
      this.renderNotes(table, state);
      this.renderHead(state);
      this.renderFoot(table, state);
      this.renderLegend(state);
      this.drawRows(true);
   }

   // Puts all rows into the page for the printer, and back.
   print(isPrinting: boolean): void {
      this.isPrinting = isPrinting;
      if (this.prepared !== null && this.element.isConnected) {
         this.drawRows(true);
      }
   }

   private renderChoice(table: Table, state: Readonly<State>): void {
      this.title.textContent = table.report;
      this.title.title = table.title;
      this.reportChoice.value = table.report;
      for (const each of this.reports.querySelectorAll<HTMLElement>("button")) {
         each.setAttribute("aria-current", String(each.dataset.report === table.report));
      }
      if (this.search.value !== state.search) {
         this.search.value = state.search;
      }
      const all = this.prepared?.rows.length ?? 0;
      this.count.textContent =
         this.chosen.length === all ? `${formatNumber(all)} rows` : `${formatNumber(this.chosen.length)} of ${formatNumber(all)} rows`;
      const quiet = (this.prepared?.columns ?? []).filter(({ isQuiet }) => isQuiet).length;
      this.quiet.checked = !state.quiet;
      this.quietLabel.textContent = ` ${quiet} ${quiet === 1 ? "column" : "columns"} of zeros`;
      (this.quiet.parentElement as HTMLElement).hidden = quiet === 0;
   }

   private renderNotes(table: Table, state: Readonly<State>): void {
      const lines = [
         ...(state.at === null ? [] : [`Reports are of the last moment, ${formatTime(this.data.now.time)}.`]),
         ...table.notes,
         ...(table.complete ? [] : ["The report ended early; rows may be missing."]),
         ...(table.leftOut > 0 ? [`${formatNumber(table.leftOut)} more rows are not in this page.`] : []),
      ];
      this.notes.replaceChildren(...lines.map((line) => make("p", {}, line)));
   }

   private get hasChanges(): boolean {
      return this.prepared?.table.before !== undefined;
   }

   // The filters keep their inputs, and so the focus, while the same columns are shown.
   private renderHead(state: Readonly<State>): void {
      const key = [this.prepared?.table.report, state.unit, ...this.shown.map(({ column }) => column.name)].join(":");
      const sorting = sortingOf(state);
      if (key !== this.headKey) {
         this.headKey = key;
         this.headRow.replaceChildren(...this.shown.map((column, i) => this.headCell(column, i, state)));
         this.filterRow.replaceChildren(...this.shown.map((column, i) => this.filterCell(column, i)));
         const widths = this.shown.map((column) => this.widthOf(column, state));
         this.columnSizes.replaceChildren(...widths.map((width) => {
            const size = make("col");
            size.style.width = `${width}ch`;
            return size;
         }));
         this.grid.style.width = `${widths.reduce((sum, width) => sum + width, 0)}ch`;
      }
      this.shown.forEach(({ column }, i) => {
         const by = sorting?.column === column.name ? sorting.by : undefined;
         const cell = this.headRow.children[i];
         cell.setAttribute("aria-sort", by === undefined ? "none" : by === "up" ? "ascending" : "descending");
         (cell.querySelector(".arrow") as HTMLElement).textContent =
            by === undefined ? "" : by === "up" ? "▲" : by === "down" ? "▼" : "Δ▼";
         const input = this.filterRow.children[i].querySelector("input") as HTMLInputElement;
         const wanted = state.filters[column.name] ?? "";
         if (input.value !== wanted) {
            input.value = wanted;
         }
      });
   }

   private headCell({ column, isFigure, isMemory }: TableColumn, i: number, state: Readonly<State>): HTMLElement {
      const unit = isMemory ? tableUnit(state.unit).name : column.unit;
      const sort = make("button", { type: "button", title: column.description },
         make("span", { class: "column-name" }, column.name),
         make("span", { class: "arrow", "aria-hidden": "true" }),
         make("span", { class: "unit" }, unit));
      sort.addEventListener("click", () => this.sortBy(column.name, isFigure));
      return make("th", { scope: "col", class: `${isFigure ? "figure" : ""} ${i === 0 ? "first" : ""}` }, sort);
   }

   private filterCell({ column, isFigure }: TableColumn, i: number): HTMLElement {
      const input = make("input", {
         type: "text",
         "aria-label": `Filter ${column.name}`,
         placeholder: isFigure ? ">0" : "filter",
         title: isFigure ? "A part of the figure, or >10, <=2 gb, 10..20" : "A part of the text",
         spellcheck: "false",
      });
      input.addEventListener("input", () =>
         this.store.change({ filters: { ...this.store.state.filters, [column.name]: input.value } }),
      );
      return make("td", { class: i === 0 && "first" }, input);
   }

   // Figures begin with the largest, names with the first; then the other way, then by change, then as reported.
   private sortBy(name: string, isFigure: boolean): void {
      const orders = isFigure
         ? [`-${name}`, name, ...(this.hasChanges ? [`~${name}`] : []), ""]
         : [name, `-${name}`, ""];
      const next = orders[(orders.indexOf(this.store.state.sort) + 1) % orders.length];
      this.store.change({ sort: next });
      announce(next === "" ? "As reported" : `Sorted by ${next.startsWith("~") ? "change of " : ""}${name}, ${next === name ? "ascending" : "descending"}`);
   }

   // Characters that the widest cell takes. Long names are cut; their titles have them in full.
   private widthOf(column: TableColumn, state: Readonly<State>): number {
      const rows = this.prepared?.rows ?? [];
      const cells = [...rows.map((row) => row.cells), ...(this.prepared?.table.footer ?? []).map((row) => row.cells)];
      const widest = longest(cells.map((each) => each[column.index]), (cell) => cellText(cell, column, state.unit));
      const widestChange = this.hasChanges
         ? longest(rows.map((row) => cellChange(row, column) ?? 0), (change) => changeText(Number(change), column, state.unit))
         : 0;
      const name = column.column.name.length + (column.isMemory || column.column.unit === "" ? 3 : 1 + column.column.unit.length);
      return Math.max(Math.min(widest, 36) + widestChange + (widestChange > 0 ? 1 : 0), name, 7) + 3;
   }

   private renderFoot(table: Table, state: Readonly<State>): void {
      this.foot.replaceChildren(
         ...table.footer.map(({ kind, cells }) =>
            make("tr", { class: kind }, ...this.shown.map((column, i) =>
               this.cellOf(column, i, cells[column.index] === null ? "" : cellText(cells[column.index], column, state.unit)))),
         ),
      );
   }

   private renderLegend(state: Readonly<State>): void {
      if (this.legend.dataset.of === `${this.headKey}`) {
         return;
      }
      this.legend.dataset.of = this.headKey;
      const columns = this.prepared?.columns ?? [];
      const rows = columns.map(({ column, isQuiet }, i) => {
         const box = make("input", { type: "checkbox", "aria-label": `Show ${column.name}`, disabled: i === 0 });
         box.checked = this.shown.some((each) => each.column === column);
         box.disabled = i === 0 || (isQuiet && state.quiet);
         box.addEventListener("change", () => this.showColumn(column.name, box.checked));
         return make("tr", {}, make("td", {}, box), make("th", { scope: "row" }, column.name),
            make("td", {}, column.unit), make("td", {}, column.role), make("td", {}, column.description));
      });
      this.legend.replaceChildren(
         make("summary", {}, `Columns: what they mean, which are shown`),
         make("table", { class: "plain" },
            make("thead", {}, make("tr", {}, ...["Shown", "Column", "Unit", "Kind", "Meaning"].map((text) => make("th", { scope: "col" }, text)))),
            make("tbody", {}, ...rows)),
      );
   }

   private showColumn(name: string, isShown: boolean): void {
      const others = this.store.state.hidden.filter((each) => each !== name);
      this.store.change({ hidden: isShown ? others : [...others, name] });
   }

   private drawRows(isNew: boolean): void {
      const height = this.scroll.clientHeight || 600;
      const all = this.chosen.length;
      const first = this.isPrinting ? 0 : Math.max(0, Math.floor(this.scroll.scrollTop / ROW_HEIGHT) - ROWS_BEYOND);
      const wanted = this.isPrinting ? ROWS_PRINTED : Math.ceil(height / ROW_HEIGHT) + 2 * ROWS_BEYOND;
      const start = Math.min(first, Math.max(0, all - wanted));
      const end = Math.min(all, start + wanted);
      if (!isNew && Math.abs(start - this.firstDrawn) < ROWS_BEYOND / 2) {
         return;
      }
      this.firstDrawn = start;
      const rows = this.chosen.slice(start, end).map((row, i) => this.rowElement(row, start + i));
      this.grid.setAttribute("aria-rowcount", String(all + 2));
      this.body.replaceChildren(spacer(start, this.shown.length), ...rows, spacer(this.isPrinting ? 0 : all - end, this.shown.length));
      if (this.isPrinting && end < all) {
         this.body.append(make("tr", {}, make("td", { colspan: this.shown.length, class: "empty" }, `${formatNumber(all - end)} more rows are not printed.`)));
      }
      if (all === 0) {
         this.body.replaceChildren(make("tr", {}, make("td", { colspan: this.shown.length, class: "empty" },
            (this.prepared?.rows.length ?? 0) === 0 ? "This report has no rows on this host." : "No row matches the filters.")));
      }
   }

   private rowElement(row: TableRow, position: number): HTMLElement {
      const { unit } = this.store.state;
      return make(
         "tr",
         { "aria-rowindex": position + 3, class: `${row.state} ${position % 2 === 1 ? "odd" : ""}` },
         ...this.shown.map((column, i) => {
            const text = cellText(row.cells[column.index], column, unit);
            const change = this.hasChanges ? cellChange(row, column) : null;
            return this.cellOf(column, i, text,
               change !== null && change !== 0 ? make("span", { class: `change ${change > 0 ? "grew" : "shrank"}` }, changeText(change, column, unit)) : null,
               i === 0 && row.state !== "kept" ? make("span", { class: "badge" }, row.state) : null);
         }),
      );
   }

   private cellOf(column: TableColumn, i: number, text: string, ...more: (HTMLElement | null)[]): HTMLElement {
      const isNumber = column.isFigure;
      return make(
         i === 0 ? "th" : "td",
         { class: `${isNumber ? "figure" : "text"} ${i === 0 ? "first" : ""}`, scope: i === 0 && "row", title: text.length > 24 && text },
         make("span", {}, text),
         ...more.flatMap((each) => (each === null ? [] : [" ", each])),
      );
   }
}

// The length of the longest text. Of numbers, that is the text of the smallest or of the largest.
function longest(cells: readonly (Cell | undefined)[], textOf: (cell: Cell | undefined) => string): number {
   let [least, most, length] = [0, 0, 0];
   for (const cell of cells) {
      if (typeof cell === "number") {
         least = Math.min(least, cell);
         most = Math.max(most, cell);
      } else {
         length = Math.max(length, textOf(cell).length);
      }
   }
   return Math.max(length, textOf(least).length, textOf(most).length);
}

// Stands for rows that are not in view.
function spacer(rows: number, columns: number): HTMLElement {
   const row = make("tr", { class: "spacer", "aria-hidden": "true" }, make("td", { colspan: columns }));
   row.style.height = `${rows * ROW_HEIGHT}px`;
   row.hidden = rows === 0;
   return row;
}
