// The groups as a picture that can be zoomed, with a table of what is in the group in view.
import { formatAmount, formatChange, formatShare } from "./amounts";
import type { Choice } from "./elements";
import { announce, button, choice, make, selection } from "./elements";
import { draw, mix, readPalette } from "./drawing";
import type { Palette } from "./drawing";
import type { Group, GroupTree } from "./groups";
import { changeOf, kindName, pathTo, treeAt } from "./groups";
import type { Box } from "./layout";
import { boxAt, icicle, icicleHeight, treemapOf } from "./layout";
import { findTable } from "./model";
import type { PageData } from "./model";
import type { State, Store } from "./state";
import { Tooltip } from "./tooltip";

const ROWS_LISTED = 100;
const FULL_CHANGE = 0.25; // of its size: a group that changed as much, or more, has the full colour
const HELP =
   "Arrow keys move from group to group, Enter zooms in, Escape zooms out, Home shows the whole host.";

export class GroupsView {
   readonly element: HTMLElement;
   private readonly canvas = make("canvas", { "aria-hidden": "true" });
   private readonly picture: HTMLElement;
   private readonly crumbs = make("ol", { class: "crumbs" });
   private readonly list = make("div", { class: "inside" });
   private readonly legend = make("p", { class: "legend" });
   private readonly hits = make("span", { class: "hits", role: "status" });
   private readonly search: HTMLInputElement;
   private readonly layouts: Choice<State["layout"]>;
   private readonly colours: Choice<State["colour"]>;
   private readonly sizes: HTMLSelectElement;
   private readonly tooltip = new Tooltip();

   private tree: GroupTree | null = null;
   private treeMoment: number | null | undefined = undefined;
   private boxes: Box[] = [];
   private found: Group[] = [];
   private foundSet = new Set<Group>();
   private focused: Group | null = null;
   private pointedAt: Box | undefined;
   private palette: Palette | null = null;

   constructor(
      private readonly data: PageData,
      private readonly store: Store,
   ) {
      this.layouts = choice("Picture", [["icicle", "Icicle"], ["treemap", "Treemap"]], (layout) =>
         store.change({ layout }),
      );
      this.colours = choice("Colour", [["kind", "Kind"], ["change", "Change"]], (colour) => store.change({ colour }));
      this.sizes = selection("Figure", this.figureOptions(), (size) => store.change({ size }));
      this.search = make("input", { type: "search", placeholder: "Find a group", "aria-label": "Find a group", size: 18 });
      this.search.addEventListener("input", () => store.change({ find: this.search.value }));
      this.search.addEventListener("keydown", (event) => this.onSearchKey(event));
      this.picture = make(
         "div",
         {
            class: "picture",
            role: "application",
            tabindex: 0,
            "aria-label": "Picture of the groups",
            "aria-describedby": "picture-help",
         },
         this.canvas,
      );
      this.element = this.build();
      this.listenToPointer();
      this.picture.addEventListener("keydown", (event) => this.onKey(event));
      this.picture.addEventListener("focus", () => this.paint());
      this.picture.addEventListener("blur", () => this.paint());
   }

   private build(): HTMLElement {
      const hasChanges = this.data.before !== null || this.data.timeline !== null;
      return make(
         "section",
         { class: "groups", "aria-label": "Groups" },
         make(
            "div",
            { class: "toolbar" },
            this.layouts.element,
            make("label", { class: "field" }, "Size ", this.sizes),
            hasChanges && this.colours.element,
            make(
               "span",
               { class: "field find", role: "search" },
               this.search,
               button("‹", { class: "small", "aria-label": "Previous hit", title: "Previous hit" }, () => this.stepHit(-1)),
               button("›", { class: "small", "aria-label": "Next hit", title: "Next hit" }, () => this.stepHit(1)),
               this.hits,
            ),
         ),
         make("nav", { "aria-label": "Path to the group in view" }, this.crumbs),
         this.picture,
         make("p", { id: "picture-help", class: "help" }, `Click a group to zoom in, and the top one to zoom out. ${HELP}`),
         this.legend,
         this.list,
         this.tooltip.element,
      );
   }

   // The figures that groups can be drawn by: of the page's moment, or those that the recording has of every one.
   private figureOptions(): [string, string][] {
      const table = findTable(this.data, "group-stats");
      return (table?.columns ?? [])
         .filter((column) => column.unit === "KB" && column.role === "gauge")
         .map((column): [string, string] => [column.name, column.name]);
   }

   render(state: Readonly<State>): void {
      this.takeTree(state.at);
      this.layouts.show(state.layout);
      this.colours.show(state.colour);
      this.sizes.value = this.figure;
      if (this.search.value !== state.find) {
         this.search.value = state.find;
      }
      if (this.tree === null) {
         this.list.replaceChildren(make("p", { class: "empty" }, "No groups were read."));
         this.picture.hidden = true;
         return;
      }
      this.picture.hidden = false;
      this.findHits(state.find);
      this.renderCrumbs();
      this.renderList();
      this.renderLegend(state);
      this.layOut();
      this.paint();
   }

   // After the size of the window or the theme changed.
   refresh(): void {
      this.palette = null;
      if (this.tree !== null && this.element.isConnected) {
         this.layOut();
         this.paint();
      }
   }

   private takeTree(at: number | null): void {
      if (this.treeMoment !== at) {
         this.tree = treeAt(this.data, at);
         this.treeMoment = at;
      }
   }

   private get zoomed(): Group {
      const tree = this.tree as GroupTree;
      return tree.byId.get(this.store.state.zoom) ?? tree.root;
   }

   // The figure that is drawn: the chosen one, or where the tree lacks it, consumed.
   private get figure(): string {
      const { size } = this.store.state;
      return this.tree?.figures.includes(size) === true ? size : "consumed";
   }

   private layOut(): void {
      const { layout } = this.store.state;
      const width = Math.max(this.picture.clientWidth, 100);
      const available = Math.max(220, Math.min(800, window.innerHeight * 0.6));
      const height = layout === "icicle" ? icicleHeight(this.zoomed, available) : Math.round(available);
      const ratio = window.devicePixelRatio || 1;
      if (this.canvas.width !== Math.round(width * ratio) || this.canvas.height !== Math.round(height * ratio)) {
         this.canvas.width = Math.round(width * ratio);
         this.canvas.height = Math.round(height * ratio);
         this.canvas.style.height = `${height}px`;
      }
      const place = layout === "icicle" ? icicle : treemapOf;
      this.boxes = place(this.zoomed, this.figure, { width, height });
   }

   private paint(): void {
      if (this.tree === null) {
         return;
      }
      this.palette ??= readPalette(this.picture);
      const palette = this.palette;
      const { unit, colour, find } = this.store.state;
      const hasFocus = document.activeElement === this.picture;
      draw(this.canvas, {
         boxes: this.boxes,
         palette,
         isSearched: find !== "",
         fillOf: (box) =>
            box.more > 0
               ? palette.more
               : colour === "kind"
                 ? palette.kinds[box.group.kind]
                 : this.fillOfChange(box.group, palette),
         labelOf: (box) =>
            box.more > 0
               ? [`${box.more} more`, ""]
               : [box.group.name, formatAmount(box.group.figures[this.figure] ?? 0, unit)],
         isHit: (box) => find === "" || (box.more === 0 && this.foundSet.has(box.group)),
         isFocused: (box) => hasFocus && box.more === 0 && box.group === (this.focused ?? this.zoomed),
         isPointedAt: (box) => box === this.pointedAt,
      });
   }

   // The colour is how much a group changed for its size, the area how large it is.
   private fillOfChange(group: Group, palette: Palette): string {
      const change = changeOf(this.tree as GroupTree, group, this.figure) ?? 0;
      const larger = Math.max(group.figures[this.figure] ?? 0, group.before?.[this.figure] ?? 0);
      const share = larger === 0 ? 0 : Math.min(1, Math.abs(change) / larger / FULL_CHANGE);
      return mix(palette.same, change > 0 ? palette.grew : palette.shrank, share);
   }

   private renderLegend(state: Readonly<State>): void {
      const entry = (name: string, text: string): HTMLElement =>
         make("span", { class: "key" }, make("span", { class: `swatch ${name}`, "aria-hidden": "true" }), text);
      this.legend.replaceChildren(
         ...(state.colour === "kind"
            ? [
                 entry("vm", "VM"),
                 entry("process", "process"),
                 entry("system", "kernel"),
                 entry("container", "container"),
              ]
            : [
                 entry("grew", `grew by ${100 * FULL_CHANGE} % or more`),
                 entry("same", "the same"),
                 entry("shrank", `shrank by ${100 * FULL_CHANGE} % or more`),
              ]),
      );
   }

   private renderCrumbs(): void {
      const path = pathTo(this.zoomed);
      this.crumbs.replaceChildren(
         ...path.map((group, i) =>
            make(
               "li",
               {},
               i + 1 === path.length
                  ? make("span", { "aria-current": "location" }, group.name)
                  : button(group.name, { class: "link" }, () => this.zoomTo(group)),
            ),
         ),
      );
   }

   private renderList(): void {
      const tree = this.tree as GroupTree;
      const group = this.zoomed;
      const { unit } = this.store.state;
      const size = (each: Group): number => each.figures[this.figure] ?? 0;
      const children = [...group.children].sort((a, b) => size(b) - size(a));
      // Threads of the kernel, which have no memory of their own, come by the hundred.
      const listed = children.filter((child, i) => i < ROWS_LISTED && (size(child) !== 0 || children.length < 10));
      const rows = listed.map((child) => {
         const change = changeOf(tree, child, this.figure);
         return make(
            "tr",
            {},
            make(
               "th",
               { scope: "row" },
               child.children.length > 0
                  ? button(child.name, { class: "link" }, () => this.zoomTo(child))
                  : make("span", {}, child.name),
            ),
            make("td", { class: "minor" }, kindName(child.kind)),
            make("td", { class: "figure" }, formatAmount(size(child), unit)),
            make("td", { class: "figure" }, formatShare(size(child), size(group))),
            tree.hasBefore && make("td", { class: `figure ${changeClass(change)}` }, changeText(change, unit)),
            make("td", { class: "figure minor" }, child.children.length > 0 ? String(child.children.length) : ""),
         );
      });
      const head = ["In this group", "Kind", this.figure, "Share", ...(tree.hasBefore ? ["Change"] : []), "Groups"];
      this.list.replaceChildren(
         make("h2", {}, group.name, " ", make("span", { class: "dim" }, formatAmount(size(group), unit))),
         rows.length === 0
            ? make("p", { class: "empty" }, "This group contains no others.")
            : make(
                 "table",
                 { class: "plain" },
                 make(
                    "thead",
                    {},
                    make("tr", {}, ...head.map((text, i) => make("th", { scope: "col", class: `${i > 1 ? "figure" : ""} ${text === "Kind" || text === "Groups" ? "minor" : ""}` }, text))),
                 ),
                 make("tbody", {}, ...rows),
              ),
         listed.length < children.length
            ? make("p", { class: "dim" }, `and ${children.length - listed.length} smaller ones, see group-stats under Reports`)
            : "",
      );
   }

   // Zooms to a group, or out of it when it is in view already.
   private zoomTo(group: Group): void {
      const target = group === this.zoomed ? group.parent : group.children.length > 0 ? group : group.parent;
      if (target === null || target === this.zoomed) {
         return;
      }
      this.focused = group === this.zoomed ? group : null;
      this.tooltip.hide();
      this.store.change({ zoom: target === this.tree?.root ? "" : target.id });
      announce(`${target.name}, ${formatAmount(target.figures[this.figure] ?? 0, this.store.state.unit)}`);
   }

   private findHits(text: string): void {
      const wanted = text.trim().toLowerCase();
      const tree = this.tree as GroupTree;
      this.found =
         wanted === "" ? [] : [...tree.byId.values()].filter((group) => group.name.toLowerCase().includes(wanted));
      this.foundSet = new Set(this.found);
      const position = this.focused === null ? -1 : this.found.indexOf(this.focused);
      this.hits.textContent =
         wanted === ""
            ? ""
            : position >= 0
              ? `${position + 1} of ${this.found.length}`
              : `${this.found.length} found`;
   }

   private stepHit(step: number): void {
      if (this.found.length === 0) {
         return;
      }
      const at = this.focused === null ? -1 : this.found.indexOf(this.focused);
      const next = this.found[(at + step + this.found.length + (at < 0 && step < 0 ? 1 : 0)) % this.found.length];
      this.focused = next;
      const container = next.parent ?? next;
      this.store.change({ zoom: container === this.tree?.root ? "" : container.id });
      this.picture.focus({ preventScroll: true });
      this.say(next);
   }

   private onSearchKey(event: KeyboardEvent): void {
      if (event.key === "Enter") {
         event.preventDefault();
         this.stepHit(event.shiftKey ? -1 : 1);
      }
   }

   private onKey(event: KeyboardEvent): void {
      const focused = this.focused ?? this.zoomed;
      const move = this.moveFor(event.key, focused);
      if (move === undefined) {
         return;
      }
      event.preventDefault();
      if (move !== null) {
         this.focused = move;
         this.paint();
         this.say(move);
         this.showTooltipOf(move);
      }
   }

   // Where a key leads; undefined when it is none of the picture's.
   private moveFor(key: string, focused: Group): Group | null | undefined {
      const drawn = (group: Group | null | undefined): Group | null =>
         group !== null && group !== undefined && this.boxes.some((box) => box.more === 0 && box.group === group)
            ? group
            : null;
      const siblings = this.boxes
         .filter((box) => box.more === 0 && box.group.parent === focused.parent)
         .map((box) => box.group);
      const at = siblings.indexOf(focused);
      switch (key) {
         case "ArrowRight":
            return focused === this.zoomed ? null : drawn(siblings[at + 1]);
         case "ArrowLeft":
            return focused === this.zoomed ? null : drawn(siblings[at - 1]);
         case "ArrowDown":
            return drawn(this.boxes.find((box) => box.more === 0 && box.group.parent === focused)?.group);
         case "ArrowUp":
            return focused === this.zoomed ? null : drawn(focused.parent);
         case "Enter":
            this.zoomTo(focused);
            return null;
         case "Escape":
         case "Backspace":
            this.zoomTo(this.zoomed);
            return null;
         case "Home":
            this.focused = null;
            this.store.change({ zoom: "" });
            return null;
         default:
            return undefined;
      }
   }

   private say(group: Group): void {
      const tree = this.tree as GroupTree;
      const { unit } = this.store.state;
      const change = changeOf(tree, group, this.figure);
      announce(
         [
            group.name,
            kindName(group.kind),
            formatAmount(group.figures[this.figure] ?? 0, unit),
            ...(change === null ? [] : [`change ${changeText(change, unit)}`]),
            ...(group.children.length > 0 ? [`${group.children.length} groups inside`] : []),
         ].join(", "),
      );
   }

   private listenToPointer(): void {
      const boxOfEvent = (event: MouseEvent): Box | undefined => {
         const place = this.canvas.getBoundingClientRect();
         return boxAt(this.boxes, event.clientX - place.left, event.clientY - place.top);
      };
      this.canvas.addEventListener("pointermove", (event) => {
         const box = boxOfEvent(event);
         if (box !== this.pointedAt) {
            this.pointedAt = box;
            this.paint();
         }
         if (box === undefined) {
            this.tooltip.hide();
         } else {
            this.tooltip.show(this.describe(box), event.clientX, event.clientY);
         }
      });
      this.canvas.addEventListener("pointerleave", () => {
         this.pointedAt = undefined;
         this.tooltip.hide();
         this.paint();
      });
      this.canvas.addEventListener("click", (event) => {
         const box = boxOfEvent(event);
         if (box !== undefined) {
            this.zoomTo(box.group);
         }
      });
   }

   private showTooltipOf(group: Group): void {
      const box = this.boxes.find((each) => each.more === 0 && each.group === group);
      if (box !== undefined) {
         const place = this.canvas.getBoundingClientRect();
         this.tooltip.show(this.describe(box), place.left + box.x + Math.min(box.width / 2, 60), place.top + box.y + box.height);
      }
   }

   private describe(box: Box): Node[] {
      const { unit } = this.store.state;
      const { group } = box;
      if (box.more > 0) {
         return [make("strong", {}, `${box.more} more in ${group.name}`), make("p", {}, "too small to be drawn here")];
      }
      const tree = this.tree as GroupTree;
      const names = [this.figure, ...["consumed", "memSize", "touched"].filter((name) => name !== this.figure)];
      const lines = names
         .filter((name) => group.figures[name] !== null && group.figures[name] !== undefined)
         .map((name) => {
            const change = changeOf(tree, group, name);
            return make(
               "tr",
               {},
               make("th", { scope: "row" }, name),
               make("td", { class: "figure" }, formatAmount(group.figures[name] ?? 0, unit)),
               make("td", { class: `figure ${changeClass(change)}` }, changeText(change, unit)),
            );
         });
      const share =
         group.parent === null
            ? ""
            : `${formatShare(group.figures[this.figure] ?? 0, group.parent.figures[this.figure] ?? 0)} of ${group.parent.name}`;
      return [
         make("strong", {}, group.name),
         make("p", { class: "dim" }, [kindName(group.kind), `ID ${group.id}`, group.flags].filter(Boolean).join(" · ")),
         make("table", {}, ...lines),
         make("p", { class: "dim" }, share),
      ];
   }
}

export function changeText(change: number | null, unit: State["unit"]): string {
   return change === null ? "" : formatChange(change, unit);
}

export function changeClass(change: number | null): string {
   return change === null || change === 0 ? "same" : change > 0 ? "grew" : "shrank";
}
