// Where the memory went: a bar of the parts, and a tree of them that opens level by level.
import { formatAmount, formatShare } from "./amounts";
import type { Choice } from "./elements";
import { announce, choice, make } from "./elements";
import { frameAt } from "./groups";
import { changeClass, changeText } from "./groups_view";
import type { AccountItem, PageData } from "./model";
import type { State, Store } from "./state";

interface ShownItem {
   readonly item: AccountItem;
   readonly path: string;
   readonly level: number;
   readonly position: number; // among its siblings, from 1
   readonly siblings: number;
   readonly start: number; // KB of what is before it
   readonly colour: string; // class of the part of the host that it belongs to
}

const COLOURS = 10;

// What is free, and what is only a difference, looks as in every account.
export function partColour(part: { readonly name: string; readonly isDifference?: true }, position: number): string {
   return part.isDifference === true ? "part-rest" : part.name === "free" ? "part-free" : `part-${position % COLOURS}`;
}

function partsOf(item: AccountItem): readonly AccountItem[] {
   return item.parts ?? [];
}

// The items in view, from top to bottom.
function shownItems(root: AccountItem, open: readonly string[]): ShownItem[] {
   const items: ShownItem[] = [];
   const visit = (item: AccountItem, path: string, level: number, base: number, inherited: string): void => {
      let start = base;
      partsOf(item).forEach((part, i, parts) => {
         // Groups have IDs: several may have one name, and a name may have any character.
         const key = part.group === undefined || part.group === null ? part.name : String(part.group);
         const partPath = path === "" ? key : `${path}/${key}`;
         const colour = level === 1 ? partColour(part, i) : inherited;
         items.push({ item: part, path: partPath, level, position: i + 1, siblings: parts.length, start, colour });
         if (open.includes(partPath)) {
            visit(part, partPath, level + 1, start, colour);
         }
         start += part.kb;
      });
   };
   visit(root, "", 1, 0, "");
   return items;
}

// The explanations of a tree by path: those of a recording's frames are those of the page's moment.
function explanationsOf(root: AccountItem): Map<string, string> {
   const explanations = new Map<string, string>();
   const visit = (item: AccountItem): void => {
      if (item.explanation !== undefined) {
         explanations.set(item.name, item.explanation);
      }
      partsOf(item).forEach(visit);
   };
   visit(root);
   return explanations;
}

export class AccountView {
   readonly element: HTMLElement;
   private readonly titles: Choice<string>;
   private readonly bar = make("div", { class: "stack", "aria-hidden": "true" });
   private readonly total = make("p", { class: "total" });
   private readonly body = make("tbody");
   private readonly head = make("tr");
   private readonly explanations: Map<string, string>[];
   private focusPath = "";

   constructor(
      private readonly data: PageData,
      private readonly store: Store,
   ) {
      this.explanations = data.accounts.map((account) => explanationsOf(account.root));
      this.titles = choice(
         "Account",
         data.accounts.map(({ title }, i): [string, string] => [String(i), title]),
         (index) => store.change({ account: Number(index), open: [] }),
      );
      const grid = make(
         "table",
         { class: "account", role: "treegrid", "aria-label": "Parts of the memory" },
         make("thead", {}, this.head),
         this.body,
      );
      grid.addEventListener("keydown", (event) => this.onKey(event));
      grid.addEventListener("click", (event) => this.onClick(event));
      this.element = make(
         "section",
         { class: "panel", "aria-labelledby": "account-title" },
         make(
            "div",
            { class: "panel-head" },
            make("h2", { id: "account-title" }, "Where the memory went"),
            data.accounts.length > 1 && this.titles.element,
         ),
         this.total,
         this.bar,
         grid,
      );
   }

   // Of the page's moment, or of the recording's.
   private rootOf(state: Readonly<State>): AccountItem | undefined {
      const index = this.indexOf(state);
      const { timeline } = this.data;
      if (state.at !== null && timeline !== null) {
         return frameAt(timeline, state.at)?.accounts[index] ?? this.data.accounts[index]?.root;
      }
      return this.data.accounts[index]?.root;
   }

   private indexOf(state: Readonly<State>): number {
      return state.account < this.data.accounts.length ? state.account : 0;
   }

   render(state: Readonly<State>): void {
      const root = this.rootOf(state);
      this.element.hidden = root === undefined;
      if (root === undefined) {
         return;
      }
      const hadFocus = this.body.contains(document.activeElement);
      const items = shownItems(root, state.open);
      const hasChanges = root.before !== undefined;
      this.titles.show(String(this.indexOf(state)));
      this.total.replaceChildren(
         make("strong", {}, formatAmount(root.kb, state.unit)),
         ` ${root.name} `,
         root.before !== undefined && root.before !== root.kb ? changeSpan(root, state) : "",
      );
      this.renderBar(root, state);
      this.head.replaceChildren(
         ...["Part", "", "Amount", "Share", ...(hasChanges ? ["Change"] : [])].map((text, i) =>
            text === ""
               ? make("td", { class: "track-head" })
               : make("th", { scope: "col", class: i > 1 && "figure" }, text),
         ),
      );
      if (!items.some(({ path }) => path === this.focusPath)) {
         this.focusPath = items[0]?.path ?? "";
      }
      this.body.replaceChildren(...items.map((item) => this.renderRow(item, root, state, hasChanges)));
      if (hadFocus) {
         this.rowAt(this.focusPath)?.focus();
      }
   }

   private renderBar(root: AccountItem, state: Readonly<State>): void {
      const whole = partsOf(root).reduce((sum, part) => sum + Math.max(part.kb, 0), 0);
      this.bar.replaceChildren(
         ...partsOf(root)
            .map((part, i) => [part, i] as const)
            .filter(([part]) => part.kb > 0)
            .map(([part, i]) => {
               const segment = make(
                  "span",
                  {
                     class: `segment ${partColour(part, i)}`,
                     title: `${part.name}: ${formatAmount(part.kb, state.unit)}, ${formatShare(part.kb, root.kb)}`,
                  },
                  part.kb / whole > 0.07 ? part.name : "",
               );
               segment.style.flexGrow = String(part.kb / whole);
               return segment;
            }),
      );
   }

   private renderRow(shown: ShownItem, root: AccountItem, state: Readonly<State>, hasChanges: boolean): HTMLElement {
      const { item, path, level } = shown;
      const hasParts = partsOf(item).length > 0;
      const isOpen = state.open.includes(path);
      const explanation = item.explanation ?? this.explanations[this.indexOf(state)]?.get(item.name) ?? "";
      const name = make(
         "th",
         { scope: "row", role: "rowheader", class: `name level-${Math.min(level, 6)}`, title: explanation },
         make(
            "div",
            { class: "label" },
            make("span", { class: "twisty", "aria-hidden": "true" }, hasParts ? (isOpen ? "▾" : "▸") : ""),
            make("span", { class: `swatch ${shown.colour}${level > 1 ? " inner" : ""}`, "aria-hidden": "true" }),
            make("span", {}, make("span", { class: "part-name" }, item.name), explanation !== "" && make("span", { class: "hint" }, explanation)),
         ),
      );
      return make(
         "tr",
         {
            role: "row",
            tabindex: path === this.focusPath ? 0 : -1,
            "aria-level": level,
            "aria-posinset": shown.position,
            "aria-setsize": shown.siblings,
            "aria-expanded": hasParts ? String(isOpen) : null,
            "data-path": path,
            class: item.isDifference === true && "difference",
         },
         name,
         make("td", { role: "gridcell", class: "track-cell" }, track(shown, root)),
         make("td", { role: "gridcell", class: "figure" }, formatAmount(item.kb, state.unit)),
         make("td", { role: "gridcell", class: "figure" }, formatShare(item.kb, root.kb)),
         hasChanges && make("td", { role: "gridcell", class: "figure" }, changeSpan(item, state)),
      );
   }

   private rows(): HTMLElement[] {
      return [...this.body.querySelectorAll<HTMLElement>("tr")];
   }

   private rowAt(path: string): HTMLElement | undefined {
      return this.rows().find((row) => row.dataset.path === path);
   }

   private toggle(row: HTMLElement, open: boolean): void {
      const path = row.dataset.path ?? "";
      const isOpen = row.getAttribute("aria-expanded");
      if (isOpen === null || (isOpen === "true") === open) {
         return;
      }
      const others = this.store.state.open.filter((each) => each !== path && !each.startsWith(`${path}/`));
      this.focusPath = path;
      this.store.change({ open: open ? [...others, path] : others });
      announce(`${row.querySelector(".part-name")?.textContent ?? ""} ${open ? "opened" : "closed"}`);
   }

   private onClick(event: MouseEvent): void {
      const row = (event.target as Element).closest<HTMLElement>("tbody tr");
      if (row !== null) {
         this.focusPath = row.dataset.path ?? "";
         row.focus();
         this.toggle(row, row.getAttribute("aria-expanded") === "false");
      }
   }

   private onKey(event: KeyboardEvent): void {
      const rows = this.rows();
      const at = rows.findIndex((row) => row === document.activeElement);
      if (at < 0) {
         return;
      }
      const target = this.moveFor(event.key, rows, at);
      if (target === undefined) {
         return;
      }
      event.preventDefault();
      if (target !== null) {
         rows[at].tabIndex = -1;
         target.tabIndex = 0;
         this.focusPath = target.dataset.path ?? "";
         target.focus();
      }
   }

   // The row that a key leads to; null when the key did its work here, undefined for others.
   private moveFor(key: string, rows: readonly HTMLElement[], at: number): HTMLElement | null | undefined {
      const row = rows[at];
      const expanded = row.getAttribute("aria-expanded");
      switch (key) {
         case "ArrowDown":
            return rows[Math.min(at + 1, rows.length - 1)];
         case "ArrowUp":
            return rows[Math.max(at - 1, 0)];
         case "Home":
            return rows[0];
         case "End":
            return rows[rows.length - 1];
         case "ArrowRight":
            if (expanded === "true") {
               return rows[at + 1] ?? null;
            }
            this.toggle(row, true);
            return null;
         case "ArrowLeft":
            if (expanded === "true") {
               this.toggle(row, false);
               return null;
            }
            return this.rowAt((row.dataset.path ?? "").replace(/\/[^/]*$/, "")) ?? null;
         case "Enter":
         case " ":
            this.toggle(row, expanded === "false");
            return null;
         default:
            return undefined;
      }
   }
}

// The part at its place in the whole.
function track({ item, start, colour, level }: ShownItem, root: AccountItem): HTMLElement {
   const fill = make("span", {
      class: `fill ${colour}${level > 1 ? " inner" : ""}${item.kb < 0 ? " negative" : ""}`,
   });
   const percent = (kb: number): number => Math.max(0, Math.min(100, root.kb > 0 ? (100 * kb) / root.kb : 0));
   const from = item.kb < 0 ? start + item.kb : start;
   fill.style.left = `${percent(from)}%`;
   fill.style.width = `max(${percent(Math.abs(item.kb))}%, ${item.kb === 0 ? 0 : 2}px)`;
   return make("span", { class: "track", "aria-hidden": "true" }, fill);
}

function changeSpan(item: AccountItem, state: Readonly<State>): HTMLElement {
   const change = item.before === undefined ? null : item.kb - item.before;
   return make("span", { class: `change ${changeClass(change)}` }, changeText(change, state.unit));
}
