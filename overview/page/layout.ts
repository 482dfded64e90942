// Where groups are drawn: boxes whose areas are as their figures.
import { hierarchy, partition, treemap } from "d3-hierarchy";
import type { HierarchyNode, RectangularNode } from "d3-hierarchy";
import type { Group } from "./groups";

export interface Box {
   readonly group: Group; // or the parent of those that are too small to be drawn
   readonly more: number; // how many those are; 0: the box is the group's
   readonly hasInside: boolean; // children are drawn inside the box, so that only its top is free
   readonly x: number;
   readonly y: number;
   readonly width: number;
   readonly height: number;
}

export interface Area {
   readonly width: number;
   readonly height: number;
}

const LEVELS_SHOWN = 8;
const ROW_HEIGHT = { least: 24, most: 120 };
const HEAD_HEIGHT = 40; // of the group in view, which is as wide as the picture: room for its name and amount
const LEAST_SIZE = 1; // pixels; what is smaller is not drawn

// A parent is as large as its figure, or as its children where they have more in sum, which happens where
// memory is counted more than once.
function sized(root: Group, figure: string): HierarchyNode<Group> {
   const node = hierarchy(root, (group) => group.children);
   node.eachAfter((each) => {
      const inside = each.children?.reduce((sum, child) => sum + child.value, 0) ?? 0;
      each.value = Math.max(each.data.figures[figure] ?? 0, inside, 0);
   });
   return node.sort((a, b) => b.value - a.value);
}

function levelsOf(node: HierarchyNode<Group>): number {
   return Math.min(node.height + 1, LEVELS_SHOWN);
}

// The height that suits the icicle of a group in an area that has at most `available`.
export function icicleHeight(root: Group, available: number): number {
   const below = levelsOf(hierarchy(root, (group) => group.children)) - 1;
   const row = Math.max(ROW_HEIGHT.least, Math.min(ROW_HEIGHT.most, (available - HEAD_HEIGHT) / Math.max(below, 1)));
   return Math.round(HEAD_HEIGHT + row * below);
}

// A row for each level, the root on top; the width is the figure.
export function icicle(root: Group, figure: string, area: Area): Box[] {
   const node = sized(root, figure);
   const levels = levelsOf(node);
   const rowHeight = (area.height - HEAD_HEIGHT) / Math.max(levels - 1, 1);
   const topOf = (depth: number): number => (depth === 0 ? 0 : HEAD_HEIGHT + (depth - 1) * rowHeight);
   const placed = partition().size([area.width, 1])(node).eachBefore((each) => {
      each.y0 = topOf(each.depth);
      each.y1 = topOf(each.depth + 1);
   });
   const boxes: Box[] = [];
   const visit = (each: RectangularNode<Group>): void => {
      boxes.push(boxOf(each, false));
      if (each.depth + 1 === levels || each.children === undefined) {
         return;
      }
      const shown = each.children.filter((child) => child.x1 - child.x0 >= LEAST_SIZE);
      shown.forEach(visit);
      addRest(boxes, each, shown);
   };
   visit(placed);
   return boxes;
}

function boxOf(node: RectangularNode<Group>, hasInside: boolean): Box {
   return {
      group: node.data,
      more: 0,
      hasInside,
      x: node.x0,
      y: node.y0,
      width: node.x1 - node.x0,
      height: node.y1 - node.y0,
   };
}

// One box for the children that are too small, which are the last ones.
function addRest(boxes: Box[], parent: RectangularNode<Group>, shown: readonly RectangularNode<Group>[]): void {
   const rest = parent.children?.slice(shown.length) ?? [];
   if (rest.length === 0) {
      return;
   }
   const [first, last] = [rest[0], rest[rest.length - 1]];
   if (last.x1 - first.x0 >= LEAST_SIZE) {
      boxes.push({
         group: parent.data,
         more: rest.length,
         hasInside: false,
         x: first.x0,
         y: first.y0,
         width: last.x1 - first.x0,
         height: first.y1 - first.y0,
      });
   }
}

// Boxes in boxes, each with room for its name on top.
export function treemapOf(root: Group, figure: string, area: Area): Box[] {
   const placed = treemap()
      .size([area.width, area.height])
      .paddingOuter(2)
      .paddingTop(19)
      .paddingInner(1)(sized(root, figure));
   const boxes: Box[] = [];
   const isShown = (node: RectangularNode<Group>): boolean =>
      node.x1 - node.x0 >= 2 * LEAST_SIZE && node.y1 - node.y0 >= 2 * LEAST_SIZE;
   const visit = (each: RectangularNode<Group>): void => {
      const shown = each.depth + 1 < LEVELS_SHOWN ? (each.children ?? []).filter(isShown) : [];
      boxes.push(boxOf(each, shown.length > 0));
      shown.forEach(visit);
   };
   visit(placed);
   return boxes;
}

// The box at a point: the last that was placed there, which lies on top.
export function boxAt(boxes: readonly Box[], x: number, y: number): Box | undefined {
   for (let i = boxes.length - 1; i >= 0; i--) {
      const box = boxes[i];
      if (x >= box.x && x < box.x + box.width && y >= box.y && y < box.y + box.height) {
         return box;
      }
   }
   return undefined;
}
