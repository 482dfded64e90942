// Light or dark: as the system has it, unless the reader chooses. The element of the document says which in `data-theme`.
import type { State } from "./state";

const systemIsDark = window.matchMedia("(prefers-color-scheme: dark)");

export function applyTheme(theme: State["theme"]): void {
   const resolved = theme !== "auto" ? theme : systemIsDark.matches ? "dark" : "light";
   document.documentElement.setAttribute("data-theme", resolved);
}

// Calls back after the system's theme changed.
export function watchSystemTheme(onChange: () => void): void {
   systemIsDark.addEventListener("change", onChange);
}
