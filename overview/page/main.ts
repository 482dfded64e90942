// The page: a header with what it is of, the recording's timeline, and three views.
import "uplot/dist/uPlot.min.css";
import "./page.css";
import { formatTime } from "./amounts";
import { announce, button, byId, choice, make } from "./elements";
import { GroupsView } from "./groups_view";
import { licencesDialog } from "./licences";
import { readData } from "./model";
import type { Moment, PageData } from "./model";
import { OverviewView } from "./overview_view";
import type { State, View } from "./state";
import { Store } from "./state";
import { TableView } from "./table_view";
import { applyTheme, watchSystemTheme } from "./theme";
import { TimelineView } from "./timeline_view";

interface ViewOnPage {
   readonly element: HTMLElement;
   render(state: Readonly<State>): void;
}

const VIEW_NAMES: readonly (readonly [view: View, text: string])[] = [
   ["overview", "Overview"],
   ["groups", "Groups"],
   ["reports", "Reports"],
];

const SOURCE_LENGTH = 40; // characters

// Of a path, the end says most.
function endOf(text: string): string {
   const characters = [...text];
   return characters.length > SOURCE_LENGTH ? `…${characters.slice(1 - SOURCE_LENGTH).join("")}` : text;
}

function momentLine(moment: Moment, word: string): HTMLElement {
   return make("p", { class: "moment-line" },
      word !== "" && make("span", { class: "dim" }, `${word} `),
      make("time", { datetime: moment.time }, formatTime(moment.time)),
      " ", make("span", { class: "source", title: moment.source }, endOf(moment.source)));
}

function unreadNotes(moment: Moment): HTMLElement | null {
   const { unread } = moment;
   return unread.length === 0
      ? null
      : make("details", { class: "unread" },
           make("summary", {}, `${unread.length} not read`),
           make("ul", {}, ...unread.map((line) => make("li", {}, line))));
}

class Page {
   private readonly store = new Store();
   private readonly views: Record<View, ViewOnPage>;
   private readonly groups: GroupsView;
   private readonly tables: TableView;
   private readonly timeline: TimelineView | null;
   private readonly main = byId("main");
   private readonly tabs = new Map<View, HTMLButtonElement>();
   private readonly units = choice("Unit", [["auto", "Auto"], ["kb", "KB"], ["mb", "MB"], ["gb", "GB"]], (unit) => this.store.change({ unit }));
   private readonly themes = choice("Theme", [["auto", "Auto"], ["light", "Light"], ["dark", "Dark"]], (theme) => this.store.change({ theme }));
   private shown: View | null = null;
   private theme = "";

   constructor(private readonly data: PageData) {
      this.groups = new GroupsView(data, this.store);
      this.tables = new TableView(data, this.store);
      this.timeline = data.timeline === null ? null : new TimelineView(data, this.store);
      this.views = { overview: new OverviewView(data, this.store), groups: this.groups, reports: this.tables };
      this.buildHeader();
      this.store.listen((state) => this.render(state));
      this.listenToWindow();
      this.store.tell();
   }

   private buildHeader(): void {
      const { now, before, program } = this.data;
      const dialog = licencesDialog();
      document.title = `${now.host} at ${formatTime(now.time)}: memory`;
      const tabs = VIEW_NAMES.map(([view, text]) => {
         const tab = button(text, {}, () => {
            this.store.change({ view });
            announce(text);
         });
         this.tabs.set(view, tab);
         return make("li", {}, tab);
      });
      byId("header").replaceChildren(
         make("div", { class: "identity" },
            make("h1", {}, now.host),
            make("div", { class: "moments" },
               momentLine(now, before === null ? "" : "now"),
               before !== null && momentLine(before, "before")),
            unreadNotes(now)),
         make("div", { class: "controls" },
            make("nav", { "aria-label": "Views" }, make("ul", { class: "tabs" }, ...tabs)),
            make("div", { class: "settings" }, this.units.element, this.themes.element)),
      );
      byId("footer").replaceChildren(
         make("span", { class: "dim" }, program),
         button("Licences", { class: "link" }, () => dialog.showModal()),
         button("Print", { class: "link" }, () => window.print()),
         dialog,
      );
      if (this.timeline !== null) {
         byId("timeline").replaceChildren(this.timeline.element);
      }
   }

   private listenToWindow(): void {
      let pending = 0;
      window.addEventListener("resize", () => {
         cancelAnimationFrame(pending);
         pending = requestAnimationFrame(() => this.refresh());
      });
      watchSystemTheme(() => this.draw(this.store.state.theme));
      window.addEventListener("beforeprint", () => this.print(true));
      window.addEventListener("afterprint", () => this.print(false));
   }

   // Paper is light.
   private print(begins: boolean): void {
      this.draw(begins ? "light" : this.store.state.theme);
      this.tables.print(begins);
   }

   private draw(theme: State["theme"]): void {
      applyTheme(theme);
      this.refresh();
   }

   private refresh(): void {
      this.groups.refresh();
      this.timeline?.refresh();
      if (this.shown === "reports") {
         this.tables.render(this.store.state);
      }
   }

   private render(state: Readonly<State>): void {
      applyTheme(state.theme);
      this.units.show(state.unit);
      this.themes.show(state.theme);
      for (const [view, tab] of this.tabs) {
         tab.setAttribute("aria-current", view === state.view ? "page" : "false");
      }
      const view = this.views[state.view];
      if (this.shown !== state.view) {
         this.shown = state.view;
         this.main.replaceChildren(view.element);
      }
      view.render(state);
      this.timeline?.render(state);
      if (this.theme !== state.theme) {
         this.theme = state.theme;
         this.refresh(); // what is drawn on canvases takes its colours from the theme
      }
   }
}

new Page(readData());
