// The recording: a plot of it over time, and a slider that says of which moment account and groups are.
import uPlot from "uplot";
import { formatAmount, formatTime, isoTime } from "./amounts";
import { announce, button, choice, make } from "./elements";
import type { Choice } from "./elements";
import { partColour } from "./account_view";
import type { PageData, Series, Timeline } from "./model";
import type { State, Store } from "./state";

const HEIGHT = 150;
const MINUTE = 60;
const DAY = 24 * 60 * MINUTE;

// Steps of an axis of memory: round in the unit that people read it in.
const STEPS = [1, 1024, 1024 * 1024].flatMap((unit) => [1, 2, 5, 10, 20, 50, 100, 200, 500].map((step) => step * unit));

// "03:00", with the day where there are several.
function axisTimes(ticks: readonly number[]): string[] {
   const isDays = ticks.length > 1 && ticks[ticks.length - 1] - ticks[0] >= DAY;
   const isSeconds = ticks.length > 1 && ticks[1] - ticks[0] < MINUTE;
   return ticks.map((seconds) => {
      const iso = isoTime(seconds);
      const time = iso.slice(11, isSeconds ? 19 : 16);
      return isDays ? `${iso.slice(5, 10)} ${time}` : time;
   });
}

// The class and variable of a series' colour.
function colourOf(series: Series, position: number): string {
   return partColour(series.kind === "account" ? series : { name: "" }, position);
}

// Sums from the first series up, so that areas lie on each other.
function stacked(series: readonly Series[]): (number | null)[][] {
   const sums: number[] = [];
   return series.map(({ kb }) =>
      kb.map((value, i) => {
         sums[i] = (sums[i] ?? 0) + Math.max(value ?? 0, 0);
         return sums[i];
      }),
   );
}

export class TimelineView {
   readonly element: HTMLElement;
   private readonly timeline: Timeline;
   private readonly chart = make("div", { class: "chart", "aria-hidden": "true" });
   private readonly charts: Choice<State["chart"]>;
   private readonly slider: HTMLInputElement;
   private readonly moment = make("output", { class: "moment" });
   private readonly legend = make("p", { class: "legend" });
   private readonly values = make("details", { class: "values" }, make("summary", {}, "Figures of this moment"));
   private plot: uPlot | null = null;
   private plotKey = "";

   constructor(
      data: PageData,
      private readonly store: Store,
   ) {
      this.timeline = data.timeline as Timeline;
      const last = this.timeline.times.length - 1;
      this.slider = make("input", { type: "range", min: 0, max: last, step: 1, "aria-label": "Moment of the recording" });
      this.slider.addEventListener("input", () => this.scrub(Number(this.slider.value)));
      this.charts = choice("Plot", [["account", "Account"], ["group", "Largest groups"]], (chart) => store.change({ chart }));
      const hasGroups = this.timeline.series.some(({ kind }) => kind === "group");
      this.element = make(
         "section",
         { class: "panel timeline", "aria-labelledby": "timeline-title" },
         make("div", { class: "panel-head" },
            make("h2", { id: "timeline-title" }, "Recording"),
            hasGroups && this.charts.element,
            this.moment),
         this.chart,
         make("div", { class: "scrubber" },
            button("‹", { class: "small", "aria-label": "Moment before", title: "Moment before" }, () => this.step(-1)),
            this.slider,
            button("›", { class: "small", "aria-label": "Next moment", title: "Next moment" }, () => this.step(1))),
         this.legend,
         this.values,
      );
      this.chart.addEventListener("click", () => {
         const at = this.plot?.cursor.idx;
         if (at !== null && at !== undefined) {
            this.scrub(at);
         }
      });
   }

   private get last(): number {
      return this.timeline.times.length - 1;
   }

   private step(by: number): void {
      const at = Math.max(0, Math.min(this.last, (this.store.state.at ?? this.last) + by));
      this.scrub(at);
      announce(formatTime(isoTime(this.timeline.times[at])));
   }

   private scrub(at: number): void {
      this.store.change({ at: at >= this.last ? null : at });
   }

   private seriesOf(state: Readonly<State>): readonly Series[] {
      return this.timeline.series.filter(({ kind }) => kind === state.chart);
   }

   render(state: Readonly<State>): void {
      const at = Math.min(state.at ?? this.last, this.last);
      const time = formatTime(isoTime(this.timeline.times[at]));
      this.charts.show(state.chart);
      this.slider.value = String(at);
      this.slider.setAttribute("aria-valuetext", time);
      this.moment.textContent = `${time}, ${at + 1} of ${this.timeline.times.length}`;
      this.renderFigures(state, at);
      this.renderPlot(state);
      this.plot?.redraw(false);
   }

   // After the size of the window or the theme changed.
   refresh(): void {
      this.plotKey = "";
      this.render(this.store.state);
   }

   private renderFigures(state: Readonly<State>, at: number): void {
      const series = this.seriesOf(state);
      this.legend.replaceChildren(
         ...series.map((each, i) =>
            make("span", { class: "key" }, make("span", { class: `swatch ${colourOf(each, i)}`, "aria-hidden": "true" }), each.name)),
      );
      const isOpen = this.values.open;
      this.values.replaceChildren(
         make("summary", {}, "Figures of this moment"),
         make("table", { class: "plain" },
            make("thead", {}, make("tr", {}, ...["Part", "Amount", "First", "Change"].map((text, i) =>
               make("th", { scope: "col", class: i > 0 && "figure" }, text)))),
            make("tbody", {}, ...series.map(({ name, kb }) => {
               const [first, now] = [kb[0], kb[at]];
               const amount = (value: number | null): string => (value === null ? "–" : formatAmount(value, state.unit));
               return make("tr", {},
                  make("th", { scope: "row" }, name),
                  make("td", { class: "figure" }, amount(now)),
                  make("td", { class: "figure" }, amount(first)),
                  make("td", { class: "figure" }, first === null || now === null ? "" : `${now > first ? "+" : ""}${formatAmount(now - first, state.unit)}`));
            }))),
      );
      this.values.open = isOpen;
   }

   private renderPlot(state: Readonly<State>): void {
      const width = this.chart.clientWidth;
      const key = [state.chart, state.unit, width].join(":");
      if (key === this.plotKey || width === 0) {
         return;
      }
      this.plotKey = key;
      this.plot?.destroy();
      const series = this.seriesOf(state);
      const isStacked = state.chart === "account";
      const lines = isStacked ? stacked(series) : series.map(({ kb }) => [...kb]);
      // The highest area is drawn first, so that those below it lie on top of it.
      const order = series.map((_, i) => i);
      if (isStacked) {
         order.reverse();
      }
      this.plot = new uPlot(
         this.options(series, order, isStacked, width, state),
         [[...this.timeline.times], ...order.map((i) => lines[i])],
         this.chart,
      );
   }

   private options(
      shown: readonly Series[],
      order: readonly number[],
      isStacked: boolean,
      width: number,
      state: Readonly<State>,
   ): uPlot.Options {
      const style = getComputedStyle(this.element);
      const colour = (name: string): string => style.getPropertyValue(name).trim();
      const axis = {
         stroke: colour("--text-dim"),
         grid: { stroke: colour("--line"), width: 1 },
         ticks: { stroke: colour("--line"), width: 1, size: 4 },
         font: `11px ${style.fontFamily}`,
      };
      return {
         width,
         height: HEIGHT,
         tzDate: (seconds) => uPlot.tzDate(new Date(seconds * 1000), "Etc/UTC"),
         legend: { show: false },
         cursor: { y: false, drag: { x: false, y: false } },
         scales: { y: { range: (_, __, most) => [0, Math.max(1, most * 1.04)] } },
         axes: [
            { ...axis, size: 28, space: 90, values: (_, ticks) => axisTimes(ticks) },
            { ...axis, size: 66, space: 24, incrs: STEPS, values: (_, ticks) => ticks.map((kb) => formatAmount(kb, state.unit).replace(/\.0+ /, " ")) },
         ],
         series: [
            {},
            ...order.map((i) => ({
               stroke: colour(`--${colourOf(shown[i], i)}`),
               fill: isStacked ? colour(`--${colourOf(shown[i], i)}`) : undefined,
               width: isStacked ? 0 : 2,
               points: { show: !isStacked && this.last < 40 },
            })),
         ],
         hooks: { draw: [(plot) => this.drawMoment(plot, colour("--text"))] },
      };
   }

   // A line through the moment in view.
   private drawMoment(plot: uPlot, colour: string): void {
      const at = Math.min(this.store.state.at ?? this.last, this.last);
      const x = Math.round(plot.valToPos(this.timeline.times[at], "x", true));
      const { ctx: context, bbox: box } = plot;
      context.save();
      context.strokeStyle = colour;
      context.lineWidth = 2 * (window.devicePixelRatio || 1);
      context.beginPath();
      context.moveTo(x, box.top);
      context.lineTo(x, box.top + box.height);
      context.stroke();
      context.restore();
   }
}
