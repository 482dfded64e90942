// What of the data is seen. It is in the location's hash, so that a link shows the same.
import type { UnitChoice } from "./amounts";

export type View = "overview" | "groups" | "reports";

export interface State {
   view: View;
   unit: UnitChoice;
   theme: "auto" | "light" | "dark";
   at: number | null; // the moment of the recording: its position in Timeline.times; null: the last
   chart: "account" | "group";
   account: number; // which account
   open: string[]; // paths of the account's items that are open
   layout: "icicle" | "treemap";
   size: string; // the figure by which groups are drawn
   colour: "kind" | "change";
   zoom: string; // the group that fills the picture, by ID; "": the root
   find: string; // what names of groups are searched for
   report: string;
   sort: string; // "column", "-column": largest first, "~column": largest change first; "": as reported
   search: string; // in all columns
   filters: Record<string, string>; // by column
   hidden: string[]; // columns that are not shown
   quiet: boolean; // columns in which every figure is 0 are not shown
}

const INITIAL: State = {
   view: "overview",
   unit: "auto",
   theme: "auto",
   at: null,
   chart: "account",
   account: 0,
   open: [],
   layout: "icicle",
   size: "consumed",
   colour: "kind",
   zoom: "",
   find: "",
   report: "group-stats",
   sort: "",
   search: "",
   filters: {},
   hidden: [],
   quiet: true,
};

// Changes after which Back leads to the state before.
const STEPS: readonly (keyof State)[] = ["view", "zoom", "report"];

function oneOf<Value extends string>(text: string | null, values: readonly Value[], initial: Value): Value {
   return values.find((value) => value === text) ?? initial;
}

function positionOf(text: string | null): number | null {
   return text !== null && /^\d{1,9}$/.test(text) ? Number(text) : null;
}

export function stateOfHash(hash: string): State {
   const words = new URLSearchParams(hash.replace(/^#/, ""));
   const text = (name: "size" | "zoom" | "find" | "report" | "sort" | "search"): string =>
      words.get(name) ?? INITIAL[name];
   const filters: Record<string, string> = {};
   for (const [name, value] of words) {
      if (name.startsWith("filter.")) {
         filters[name.slice("filter.".length)] = value;
      }
   }
   return {
      view: oneOf(words.get("view"), ["overview", "groups", "reports"], INITIAL.view),
      unit: oneOf(words.get("unit"), ["auto", "kb", "mb", "gb"], INITIAL.unit),
      theme: oneOf(words.get("theme"), ["auto", "light", "dark"], INITIAL.theme),
      at: positionOf(words.get("at")),
      chart: oneOf(words.get("chart"), ["account", "group"], INITIAL.chart),
      account: positionOf(words.get("account")) ?? INITIAL.account,
      open: words.getAll("open"),
      layout: oneOf(words.get("layout"), ["icicle", "treemap"], INITIAL.layout),
      size: text("size"),
      colour: oneOf(words.get("colour"), ["kind", "change"], INITIAL.colour),
      zoom: text("zoom"),
      find: text("find"),
      report: text("report"),
      sort: text("sort"),
      search: text("search"),
      filters,
      hidden: words.getAll("hide"),
      quiet: words.get("zeros") === null,
   };
}

export function hashOfState(state: State): string {
   const words = new URLSearchParams();
   for (const name of [
      "view", "unit", "theme", "at", "chart", "account", "layout", "size", "colour", "zoom", "find", "report",
      "sort", "search",
   ] as const) {
      const value = state[name];
      if (value !== null && value !== INITIAL[name]) {
         words.set(name, String(value));
      }
   }
   state.open.forEach((path) => words.append("open", path));
   state.hidden.forEach((column) => words.append("hide", column));
   for (const [column, filter] of Object.entries(state.filters)) {
      if (filter !== "") {
         words.set(`filter.${column}`, filter);
      }
   }
   if (!state.quiet) {
      words.set("zeros", "shown");
   }
   const text = words.toString();
   return text === "" ? "" : `#${text}`;
}

// A slider that is dragged changes the state all the time; browsers refuse to change the location as often.
const WRITING_INTERVAL = 300; // milliseconds

type Listener = (state: Readonly<State>) => void;

// The state that all parts of the page share. They change it here, and draw what it says when told.
export class Store {
   private current: State;
   private pending = 0; // the timer after which the location gets the state; 0: it has it
   private readonly listeners: Listener[] = [];

   constructor() {
      this.current = stateOfHash(location.hash);
      window.addEventListener("hashchange", () => this.follow());
      window.addEventListener("popstate", () => this.follow());
   }

   get state(): Readonly<State> {
      return this.current;
   }

   listen(listener: Listener): void {
      this.listeners.push(listener);
   }

   change(changes: Partial<State>): void {
      const isStep = STEPS.some((name) => name in changes && changes[name] !== this.current[name]);
      if (isStep) {
         this.write(); // what Back leads to
      }
      this.current = { ...this.current, ...changes };
      if (isStep) {
         history.pushState(null, "", this.address());
      } else {
         this.pending = this.pending || window.setTimeout(() => this.write(), WRITING_INTERVAL);
      }
      this.tell();
   }

   private address(): string {
      return hashOfState(this.current) || location.href.replace(/#.*$/s, "");
   }

   private write(): void {
      if (this.pending !== 0) {
         clearTimeout(this.pending);
         this.pending = 0;
         history.replaceState(null, "", this.address());
      }
   }

   tell(): void {
      this.listeners.forEach((listener) => listener(this.current));
   }

   // The location has changed: a link, Back, Forward.
   private follow(): void {
      clearTimeout(this.pending);
      this.pending = 0;
      if (hashOfState(this.current) !== location.hash) {
         this.current = stateOfHash(location.hash);
         this.tell();
      }
   }
}
