// Makers of elements. A text is always text: nothing here, or anywhere in the page, parses HTML.

type Child = Node | string | null | undefined | false;

type Attributes = Record<string, string | number | boolean | null | undefined>;

function append(element: Element, children: readonly Child[]): void {
   for (const child of children) {
      if (child !== null && child !== undefined && child !== false) {
         element.append(child);
      }
   }
}

function setAttributes(element: Element, attributes: Attributes): void {
   for (const [name, value] of Object.entries(attributes)) {
      if (value === true) {
         element.setAttribute(name, "");
      } else if (value !== false && value !== null && value !== undefined) {
         element.setAttribute(name, String(value));
      }
   }
}

// make("p", {class: "note"}, "text"): an attribute that is false or null is left out.
export function make<Tag extends keyof HTMLElementTagNameMap>(
   tag: Tag,
   attributes: Attributes = {},
   ...children: Child[]
): HTMLElementTagNameMap[Tag] {
   const element = document.createElement(tag);
   setAttributes(element, attributes);
   append(element, children);
   return element;
}

export function button(
   text: string,
   attributes: Attributes,
   onClick: (event: MouseEvent) => void,
): HTMLButtonElement {
   const element = make("button", { type: "button", ...attributes }, text);
   element.addEventListener("click", onClick);
   return element;
}

// A choice of one among a few, all of them in view.
export interface Choice<Value extends string> {
   readonly element: HTMLElement;
   show(value: Value): void;
}

export function choice<Value extends string>(
   label: string,
   options: readonly (readonly [value: Value, text: string])[],
   onChoice: (value: Value) => void,
): Choice<Value> {
   const buttons = options.map(([value, text]) =>
      button(text, { "aria-pressed": "false", "data-value": value }, () => onChoice(value)),
   );
   return {
      element: make("div", { class: "choice", role: "group", "aria-label": label }, ...buttons),
      show(value) {
         for (const each of buttons) {
            each.setAttribute("aria-pressed", String(each.dataset.value === value));
         }
      },
   };
}

// A choice of one among many.
export function selection(
   label: string,
   options: readonly (readonly [value: string, text: string])[],
   onChoice: (value: string) => void,
): HTMLSelectElement {
   const element = make(
      "select",
      { "aria-label": label },
      ...options.map(([value, text]) => make("option", { value }, text)),
   );
   element.addEventListener("change", () => onChoice(element.value));
   return element;
}

// Says something to those who do not see the page change.
export function announce(text: string): void {
   const region = document.getElementById("announcements");
   if (region !== null && region.textContent !== text) {
      region.textContent = text;
   }
}

export function byId(id: string): HTMLElement {
   const element = document.getElementById(id);
   if (element === null) {
      throw new Error(`no element ${id}`);
   }
   return element;
}
