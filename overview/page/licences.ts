// The licences of what is in the page besides its own code.
import hierarchyLicence from "licences/d3-hierarchy.txt";
import plotLicence from "licences/uplot.txt";
import { button, make } from "./elements";

const LICENCES: readonly (readonly [name: string, text: string])[] = [
   ["d3-hierarchy", hierarchyLicence],
   ["uPlot", plotLicence],
];

export function licencesDialog(): HTMLDialogElement {
   const dialog: HTMLDialogElement = make(
      "dialog",
      { "aria-labelledby": "licences-title" },
      make("h2", { id: "licences-title" }, "Licences"),
      make("p", {}, "This page holds code of these libraries."),
      ...LICENCES.map(([name, text]) =>
         make("section", {}, make("h3", {}, name), make("pre", { tabindex: 0, role: "region", "aria-label": `Licence of ${name}` }, text)),
      ),
      button("Close", {}, () => dialog.close()),
   );
   return dialog;
}
