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
const FINDINGS_LISTED = 6; // of more, one for each rule
const FIGURE = "consumed";

const SEVERITY_MARKS: Record<Severity, string> = { critical: "!!", warning: "!", note: "i" };

function renderFinding(finding: Finding, ...more: (HTMLElement | null)[]): HTMLElement {
   return make(
      "li",
      { class: `finding ${finding.severity}` },
      make("span", { class: "mark", "aria-hidden": "true" }, SEVERITY_MARKS[finding.severity]),
      make(
         "span",
         { class: "what" },
         make("span", { class: "severity" }, finding.severity),
         " ",
         finding.subject !== "" && make("strong", {}, finding.subject),
         " ",
         finding.text,
      ),
      " ",
      make("code", { class: "command", title: finding.command }, finding.command),
      ...more,
   );
}

// The worst finding of a rule, and a button that shows the others below it.
function renderRule([first, ...others]: readonly Finding[]): HTMLElement[] {
   const below = others.map((finding) => renderFinding(finding));
   const show = (isOpen: boolean): void => {
      below.forEach((each) => {
         each.hidden = !isOpen;
      });
      more.setAttribute("aria-expanded", String(isOpen));
   };
   const more = button(
      `+${others.length}`,
      { class: "small more", "aria-label": `${others.length} more: ${first.rule}`, title: `${others.length} more of ${first.rule}` },
      () => show(more.getAttribute("aria-expanded") === "false"),
   );
   show(false);
   return [renderFinding(first, others.length > 0 ? more : null), ...below];
}

function byRule(findings: readonly Finding[]): Finding[][] {
   const rules = new Map<string, Finding[]>();
   for (const finding of findings) {
      rules.set(finding.rule, [...(rules.get(finding.rule) ?? []), finding]);
   }
   return [...rules.values()];
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
      const { findings, findingsLeftOut } = this.data;
      const rows =
         findings.length > FINDINGS_LISTED
            ? byRule(findings).flatMap(renderRule)
            : findings.map((finding) => renderFinding(finding));
      return make(
         "section",
         { class: "panel findings", "aria-labelledby": "findings-title" },
         make("h2", { id: "findings-title" }, "Worth a look"),
         findings.length === 0
            ? make("p", { class: "empty" }, "Nothing: all figures are within their thresholds.")
            : make("ul", {}, ...rows),
         findingsLeftOut > 0 && make("p", { class: "dim" }, `${findingsLeftOut} less severe ones are not in this page.`),
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
