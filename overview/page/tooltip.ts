// What is known of the thing under the pointer.
import { make } from "./elements";

const DISTANCE = 14; // pixels from the pointer

export class Tooltip {
   readonly element = make("div", { class: "tooltip", "aria-hidden": "true" });

   constructor() {
      this.element.hidden = true;
   }

   show(content: readonly Node[], x: number, y: number): void {
      this.element.replaceChildren(...content);
      this.element.hidden = false;
      const { offsetWidth: width, offsetHeight: height } = this.element;
      const right = x + DISTANCE + width > window.innerWidth - 4;
      const below = y + DISTANCE + height > window.innerHeight - 4;
      this.element.style.left = `${Math.max(4, right ? x - DISTANCE - width : x + DISTANCE)}px`;
      this.element.style.top = `${Math.max(4, below ? y - DISTANCE - height : y + DISTANCE)}px`;
   }

   hide(): void {
      this.element.hidden = true;
   }
}
