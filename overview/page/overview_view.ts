// The first view: what is worth a look, where the memory went, who is large, who grew.
import { AccountView } from "./account_view";
import { formatAmount, formatShare } from "./amounts";
import { button, make } from "./elements";
import type { Group, GroupTree } from "./groups";
import { changeOf, pathTo, treeAt } from "./groups";
import { changeClass, changeText } from "./groups_view";
import type { Finding, PageData, Severity } from "./model";
import type { State, Store } from "./state";

const LISTED = 8;
const FINDINGS_LISTED = 6;
const FIGURE = "consumed";

const SEVERITY_MARKS: Record<Severity, string> = { critical: "!!", warning: "!", note: "i" };

function renderFinding(finding: Finding): HTMLElement {
   return make(
      "li",
      { class: `finding ${finding.severity}` },
      make("span", { class: "mark", "aria-hidden": "true" }, SEVERITY_MARKS[finding.severity]),
      make(
         "div",
         {},
         make("span", { class: "severity" }, finding.severity),
         " ",
         finding.subject !== "" && make("strong", {}, finding.subject),
         " ",
         finding.text,
         " ",
         finding.command !== "" && make("code", { class: "command" }, finding.command),
      ),
   );
}

export class OverviewView {
   readonly element: HTMLElement;
   private readonly account: AccountView;
   private readonly largest = make("div");
   private readonly grown = make("div");
   private readonly grownPanel: HTMLElement;
   private tree: GroupTree | null = null;
   private treeMoment: number | null | undefined = undefined;

   constructor(
      private readonly data: PageData,
      private readonly store: Store,
   ) {
      this.account = new AccountView(data, store);
      this.grownPanel = make("section", { class: "panel", "aria-labelledby": "grown-title" },
         make("h2", { id: "grown-title" }, "Who grew"), this.grown);
      this.element = make(
         "div",
         { class: "overview" },
         this.findings(),
         this.account.element,
         make(
            "div",
            { class: "pair" },
            make("section", { class: "panel", "aria-labelledby": "largest-title" },
               make("h2", { id: "largest-title" }, "Largest"), this.largest),
            this.grownPanel,
         ),
      );
   }

   private findings(): HTMLElement {
      const { findings } = this.data;
      return make(
         "section",
         { class: "panel findings", "aria-labelledby": "findings-title" },
         make("h2", { id: "findings-title" }, "Worth a look"),
         findings.length === 0
            ? make("p", { class: "empty calm" }, "Nothing: no figure is beyond its threshold.")
            : make("ul", {}, ...findings.slice(0, FINDINGS_LISTED).map(renderFinding)),
         findings.length > FINDINGS_LISTED &&
            make("details", { class: "more" },
               make("summary", {}, `${findings.length - FINDINGS_LISTED} more`),
               make("ul", {}, ...findings.slice(FINDINGS_LISTED).map(renderFinding))),
      );
   }

   render(state: Readonly<State>): void {
      this.account.render(state);
      if (this.treeMoment !== state.at) {
         this.tree = treeAt(this.data, state.at);
         this.treeMoment = state.at;
      }
      const { tree } = this;
      this.grownPanel.hidden = tree === null || !tree.hasBefore;
      if (tree === null) {
         this.largest.replaceChildren(make("p", { class: "empty" }, "No groups were read."));
         return;
      }
      const groups = subjectsOf(tree);
      const size = (group: Group): number => group.figures[FIGURE] ?? 0;
      this.largest.replaceChildren(this.listOf(tree, [...groups].sort((a, b) => size(b) - size(a)), state));
      if (tree.hasBefore) {
         const change = (group: Group): number => changeOf(tree, group, FIGURE) ?? 0;
         const grown = groups.filter((group) => change(group) > 0).sort((a, b) => change(b) - change(a));
         this.grown.replaceChildren(
            grown.length === 0 ? make("p", { class: "empty" }, "None.") : this.listOf(tree, grown, state),
         );
      }
   }

   private listOf(tree: GroupTree, groups: readonly Group[], state: Readonly<State>): HTMLElement {
      const whole = tree.root.figures[FIGURE] ?? 0;
      const shown = groups.slice(0, LISTED);
      const most = Math.max(1, ...shown.map((group) => group.figures[FIGURE] ?? 0));
      return make(
         "table",
         { class: "plain" },
         make("thead", {}, make("tr", {},
            make("th", { scope: "col" }, "Group"),
            make("td", { class: "track-head" }),
            make("th", { scope: "col", class: "figure" }, "Consumed"),
            make("th", { scope: "col", class: "figure" }, tree.hasBefore ? "Change" : "Share"))),
         make("tbody", {}, ...shown.map((group) => {
            const kb = group.figures[FIGURE] ?? 0;
            const change = changeOf(tree, group, FIGURE);
            return make("tr", {},
               make("th", { scope: "row" }, button(group.name, { class: "link", title: wayTo(group) }, () => this.open(tree, group))),
               make("td", { class: "track-cell" }, sizeBar(group, kb / most)),
               make("td", { class: "figure" }, formatAmount(kb, state.unit)),
               tree.hasBefore
                  ? make("td", { class: `figure ${changeClass(change)}` }, changeText(change, state.unit))
                  : make("td", { class: "figure" }, formatShare(kb, whole)));
         })),
      );
   }

   private open(tree: GroupTree, group: Group): void {
      const target = group.children.length > 0 ? group : group.parent ?? group;
      this.store.change({ view: "groups", zoom: target === tree.root ? "" : target.id, find: group.name });
   }
}

function wayTo(group: Group): string {
   return pathTo(group).map((each) => each.name).join(" › ");
}

function sizeBar(group: Group, share: number): HTMLElement {
   const fill = make("span", { class: `fill kind-${group.kind}` });
   fill.style.width = `${100 * Math.min(1, Math.max(0, share))}%`;
   return make("span", { class: "track", "aria-hidden": "true" }, fill);
}

// Those whom an operator knows by name: VMs as a whole, and other groups without children.
function subjectsOf(tree: GroupTree): Group[] {
   const subjects: Group[] = [];
   const visit = (group: Group): void => {
      const isWholeVm = group.kind === "vm" && group !== tree.root;
      if (isWholeVm || group.children.length === 0) {
         subjects.push(group);
      } else {
         group.children.forEach(visit);
      }
   };
   visit(tree.root);
   return subjects;
}
