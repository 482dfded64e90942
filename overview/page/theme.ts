// Light or dark: as the system has it, unless the reader chooses.
import type { State } from "./state";

export function applyTheme(theme: State["theme"]): void {
   const root = document.documentElement;
   if (theme === "auto") {
      root.removeAttribute("data-theme");
   } else {
      root.setAttribute("data-theme", theme);
   }
}

// Calls back when the colours of the page change with the system's.
export function watchSystemTheme(onChange: () => void): void {
   window.matchMedia("(prefers-color-scheme: dark)").addEventListener("change", onChange);
}
