// What the page uses of d3-hierarchy, whose Debian package has no types.
declare module "d3-hierarchy" {
   export interface HierarchyNode<Datum> {
      readonly data: Datum;
      readonly depth: number;
      readonly height: number;
      readonly parent: HierarchyNode<Datum> | null;
      children?: HierarchyNode<Datum>[];
      value: number;
      eachAfter(visit: (node: HierarchyNode<Datum>) => void): this;
      sort(compare: (a: HierarchyNode<Datum>, b: HierarchyNode<Datum>) => number): this;
   }
   export interface RectangularNode<Datum> extends HierarchyNode<Datum> {
      readonly parent: RectangularNode<Datum> | null;
      children?: RectangularNode<Datum>[];
      x0: number;
      y0: number;
      x1: number;
      y1: number;
      eachBefore(visit: (node: RectangularNode<Datum>) => void): this;
   }
   export function hierarchy<Datum>(
      root: Datum,
      children: (datum: Datum) => Datum[],
   ): HierarchyNode<Datum>;

   export interface PartitionLayout {
      <Datum>(root: HierarchyNode<Datum>): RectangularNode<Datum>;
      size(size: readonly [number, number]): this;
      round(round: boolean): this;
      padding(padding: number): this;
   }
   export function partition(): PartitionLayout;

   export interface TreemapLayout {
      <Datum>(root: HierarchyNode<Datum>): RectangularNode<Datum>;
      size(size: readonly [number, number]): this;
      round(round: boolean): this;
      paddingTop(padding: number): this;
      paddingOuter(padding: number): this;
      paddingInner(padding: number): this;
   }
   export function treemap(): TreemapLayout;
}
