// Text files that are bundled as they are.
declare module "*.txt" {
   const text: string;
   export default text;
}
