// The picture of the groups on a canvas.
import type { GroupKind } from "./groups";
import type { Box } from "./layout";

export interface Palette {
   readonly kinds: Readonly<Record<GroupKind, string>>;
   readonly more: string;
   readonly grew: string;
   readonly shrank: string;
   readonly same: string;
   readonly text: string;
   readonly dimText: string;
   readonly ground: string;
   readonly accent: string;
   readonly hit: string;
   readonly font: string;
}

export function readPalette(element: Element): Palette {
   const style = getComputedStyle(element);
   const colour = (name: string): string => style.getPropertyValue(name).trim();
   return {
      kinds: {
         vm: colour("--kind-vm"),
         process: colour("--kind-process"),
         system: colour("--kind-system"),
         container: colour("--kind-container"),
      },
      more: colour("--kind-more"),
      grew: colour("--fill-grew"),
      shrank: colour("--fill-shrank"),
      same: colour("--fill-same"),
      text: colour("--text"),
      dimText: colour("--text-dim"),
      ground: colour("--ground"),
      accent: colour("--accent"),
      hit: colour("--hit"),
      font: style.fontFamily,
   };
}

export interface Picture {
   readonly boxes: readonly Box[];
   readonly palette: Palette;
   // Of the group's kind, or of its change.
   fillOf(box: Box): string;
   labelOf(box: Box): readonly [name: string, amount: string];
   isHit(box: Box): boolean; // true for all when nothing is searched for
   readonly isSearched: boolean;
   isFocused(box: Box): boolean;
   isPointedAt(box: Box): boolean;
}

// Mixes two colours of the form #rrggbb.
export function mix(from: string, to: string, share: number): string {
   const part = (colour: string, at: number): number => parseInt(colour.slice(at, at + 2), 16);
   const mixed = [1, 3, 5].map((at) => Math.round(part(from, at) + (part(to, at) - part(from, at)) * share));
   return `#${mixed.map((each) => each.toString(16).padStart(2, "0")).join("")}`;
}

const PADDING = 6;
const LINE = 15;
const LEAST_LABEL = 40; // pixels of width; in a narrower box the name stands upright
const UPRIGHT_UP_TO = 64; // pixels of width; a name that does not fit into such a box stands upright as well
const LEAST_CHARACTERS = 3;

// The longest beginning that fits, with an ellipsis; names that differ at their ends keep them in the tooltip.
function fitted(context: CanvasRenderingContext2D, text: string, width: number): string {
   if (context.measureText(text).width <= width) {
      return text;
   }
   const characters = [...text.slice(0, 200)];
   let low = 0;
   let high = characters.length;
   while (low < high) {
      const middle = (low + high + 1) >> 1;
      const isFitting = context.measureText(`${characters.slice(0, middle).join("")}…`).width <= width;
      [low, high] = isFitting ? [middle, high] : [low, middle - 1];
   }
   return low < LEAST_CHARACTERS ? "" : `${characters.slice(0, low).join("")}…`;
}

// Groups that hold others stand out.
function fontOf(box: Box, palette: Palette): string {
   return `${box.group.children.length > 0 ? 600 : 400} 12px ${palette.font}`;
}

function drawUprightLabel(context: CanvasRenderingContext2D, box: Box, picture: Picture): void {
   context.save();
   context.translate(box.x + box.width / 2, box.y + box.height - PADDING);
   context.rotate(-Math.PI / 2);
   context.font = `11px ${picture.palette.font}`;
   context.fillStyle = box.more > 0 ? picture.palette.dimText : picture.palette.text;
   context.fillText(fitted(context, picture.labelOf(box)[0], box.height - 2 * PADDING), 0, 0);
   context.restore();
}

function drawLabel(context: CanvasRenderingContext2D, box: Box, picture: Picture): void {
   const width = box.width - 2 * PADDING;
   if (box.height < LINE || box.width < LINE) {
      return;
   }
   const [name, amount] = picture.labelOf(box);
   const { palette } = picture;
   context.font = fontOf(box, palette);
   const isNarrow =
      box.width < LEAST_LABEL || (box.width < UPRIGHT_UP_TO && context.measureText(name).width > width);
   if (isNarrow && box.height >= LEAST_LABEL && !box.hasInside) {
      drawUprightLabel(context, box, picture);
      return;
   }
   if (box.width < LEAST_LABEL) {
      return;
   }
   const lines = box.height >= 2 * LINE + 4 && !box.hasInside ? 2 : 1;
   const top = box.hasInside ? box.y + 10 : box.y + box.height / 2 - (lines - 1) * (LINE / 2);
   context.fillStyle = box.more > 0 ? palette.dimText : palette.text;
   const both = `${name}  ${amount}`;
   const isOneLine = lines === 1 && context.measureText(both).width <= width;
   context.fillText(fitted(context, name, width), box.x + PADDING, top);
   context.font = `11px ${palette.font}`;
   context.fillStyle = palette.dimText;
   if (lines === 2 && context.measureText(amount).width <= width) {
      context.fillText(amount, box.x + PADDING, top + LINE);
   } else if (isOneLine) {
      context.textAlign = "right";
      context.fillText(amount, box.x + box.width - PADDING, top);
      context.textAlign = "left";
   }
}

function outline(context: CanvasRenderingContext2D, box: Box, colour: string, width: number): void {
   context.strokeStyle = colour;
   context.lineWidth = width;
   context.strokeRect(
      box.x + width / 2,
      box.y + width / 2,
      Math.max(box.width - width, 1),
      Math.max(box.height - width, 1),
   );
}

function drawBox(context: CanvasRenderingContext2D, box: Box, picture: Picture): void {
   const gap = box.width > 3 ? 1 : 0;
   context.fillStyle = picture.fillOf(box);
   context.fillRect(box.x, box.y, box.width - gap, box.height - 1);
   if (picture.isPointedAt(box)) {
      context.globalAlpha = 0.12;
      context.fillStyle = picture.palette.text;
      context.fillRect(box.x, box.y, box.width - gap, box.height - 1);
      context.globalAlpha = 1;
   }
   drawLabel(context, box, picture);
}

export function draw(canvas: HTMLCanvasElement, picture: Picture): void {
   const context = canvas.getContext("2d");
   if (context === null) {
      return;
   }
   const ratio = window.devicePixelRatio || 1;
   context.setTransform(ratio, 0, 0, ratio, 0, 0);
   context.fillStyle = picture.palette.ground;
   context.fillRect(0, 0, canvas.width / ratio, canvas.height / ratio);
   context.textBaseline = "middle";
   for (const box of picture.boxes) {
      context.globalAlpha = 1;
      drawBox(context, box, picture);
      if (picture.isSearched && !picture.isHit(box) && !box.hasInside) {
         context.globalAlpha = 0.55;
         context.fillStyle = picture.palette.ground;
         context.fillRect(box.x, box.y, box.width, box.height);
         context.globalAlpha = 1;
      }
   }
   for (const box of picture.boxes) {
      if (picture.isSearched && box.more === 0 && picture.isHit(box)) {
         outline(context, box, picture.palette.hit, 2);
      }
      if (picture.isFocused(box)) {
         outline(context, box, picture.palette.accent, 3);
      }
   }
}
