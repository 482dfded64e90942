// Amounts of memory and other figures as texts.

export type UnitChoice = "auto" | "kb" | "mb" | "gb";

const KB_PER: Record<Exclude<UnitChoice, "auto">, number> = { kb: 1, mb: 1024, gb: 1024 * 1024 };
const NAMES: Record<Exclude<UnitChoice, "auto">, string> = { kb: "KB", mb: "MB", gb: "GB" };

// The minus sign is as wide as a digit, the hyphen is not.
const MINUS = "\u2212";

const withDigits = [0, 1, 2].map(
   (digits) =>
      new Intl.NumberFormat("en", { minimumFractionDigits: digits, maximumFractionDigits: digits }),
);

export function formatNumber(value: number, digits = 0): string {
   const text = withDigits[digits].format(Math.abs(value));
   return value < 0 && /[1-9]/.test(text) ? MINUS + text : text;
}

// The unit in which an amount has at most three digits before the point, as in the texts of the findings; GB for more.
function fittingUnit(kb: number): Exclude<UnitChoice, "auto"> {
   const size = Math.abs(kb);
   return size >= 999.95 * KB_PER.mb ? "gb" : size >= 999.95 ? "mb" : "kb";
}

// "12.3 GB"
export function formatAmount(kb: number, choice: UnitChoice): string {
   if (choice === "auto") {
      const unit = fittingUnit(kb);
      return `${formatNumber(kb / KB_PER[unit], unit === "kb" ? 0 : 1)} ${NAMES[unit]}`;
   }
   const { name, kb: size, digits } = tableUnit(choice);
   return `${formatNumber(kb / size, digits)} ${name}`;
}

// "+12.3 GB"; a change of nothing is a lone "=".
export function formatChange(kb: number, choice: UnitChoice): string {
   if (kb === 0) {
      return "=";
   }
   return (kb > 0 ? "+" : "") + formatAmount(kb, choice);
}

// Columns are comparable only in one unit, so that those of a table do not choose theirs: by default they are in KB.
export function tableUnit(choice: UnitChoice): { name: string; kb: number; digits: number } {
   const unit = choice === "auto" ? "kb" : choice;
   return { name: NAMES[unit], kb: KB_PER[unit], digits: unit === "kb" ? 0 : unit === "mb" ? 1 : 2 };
}

// "12.3 %"
export function formatShare(part: number, whole: number): string {
   return whole === 0 ? "" : `${formatNumber((100 * part) / whole, 1)}\u00a0%`;
}

// "2026-01-31 23:59:59 UTC"
export function formatTime(iso: string): string {
   return iso.replace("T", " ").replace("Z", " UTC");
}

// Seconds since 1970 as ISO 8601, UTC.
export function isoTime(seconds: number): string {
   return new Date(seconds * 1000).toISOString().replace(".000Z", "Z");
}
