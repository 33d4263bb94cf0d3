// Runs in the browser (page.evaluate): whether every text that Graphviz drew
// in a table's box stays inside that box, in the font it was measured in.
// A box is an SVG group of class "node"; its outline is the union of its
// polygons. Each drawing is checked at its natural size (a browser lays out
// text shrunk to a few pixels with other metrics). Returns the problems
// found and the number of texts checked.
export function textsOutsideTheirBoxes({ root, font }) {
  const problems = [];
  let texts = 0;
  const scope = root ? document.querySelector(root) : document;
  for (const svg of scope.querySelectorAll('svg')) {
    svg.style.maxWidth = 'none';
    svg.style.width = `${parseFloat(svg.getAttribute('width')) * 4 / 3}px`;
    svg.style.height = `${parseFloat(svg.getAttribute('height')) * 4 / 3}px`;
  }
  for (const node of scope.querySelectorAll('g.node')) {
    let box = null;
    for (const shape of node.querySelectorAll('polygon, path')) {
      const b = shape.getBBox();
      box = box ? { left: Math.min(box.left, b.x), top: Math.min(box.top, b.y),
                    right: Math.max(box.right, b.x + b.width), bottom: Math.max(box.bottom, b.y + b.height) }
        : { left: b.x, top: b.y, right: b.x + b.width, bottom: b.y + b.height };
    }
    for (const text of node.querySelectorAll('text')) {
      // No installed font draws CJK or emoji: Graphviz and the browser draw
      // stand-ins of their own, of other widths.
      if (/[\u3000-\uffff]|[\ud800-\udfff]/.test(text.textContent)) continue;
      ++texts;
      const family = getComputedStyle(text).fontFamily;
      if (!family.replace(/["']/g, '').startsWith(font)) problems.push(`${text.textContent}: drawn in ${family}`);
      const t = text.getBBox();
      const over = Math.max(box ? box.left - t.x : Infinity, box ? t.x + t.width - box.right : Infinity,
                            box ? box.top - t.y : Infinity, box ? t.y + t.height - box.bottom : Infinity);
      if (over > 0.5) problems.push(`${JSON.stringify(text.textContent)} crosses its box by ${over.toFixed(1)}`);
    }
  }
  return { problems, texts };
}
