// Appended to a copy of a map page by scripts/browser.sh, after the page's own script: does what
// the URL's fragment asks (#colour=row, #hide-warnings, #open-block), then writes what the browser
// laid out into the DOM, for scripts/check_map_page.py to read from the dumped DOM.
"use strict";
(function () {
  const asks = new Set(location.hash.slice(1).split("&"));
  const colour = [...asks].find((a) => a.startsWith("colour="));
  if (colour) {
    const select = document.getElementById("colour-by");
    select.value = colour.slice("colour=".length);
    select.dispatchEvent(new Event("change"));
  }
  if (asks.has("hide-warnings")) {
    const box = document.getElementById("show-warnings");
    box.checked = false;
    box.dispatchEvent(new Event("change"));
  }
  if (asks.has("open-block")) {
    const block = document.querySelector("td.cell.block");
    if (block) {
      block.focus();
      block.dispatchEvent(new KeyboardEvent("keydown", { key: "Enter", bubbles: true }));
    }
  }
  // Widths and heights of the drawn cells and of the x axis's label cells, rounded to 0.1 px.
  const sizes = (selector, side) => [...new Set([...document.querySelectorAll(selector)]
    .map((e) => e.getBoundingClientRect()[side].toFixed(1)))].sort().join(" ");
  document.body.dataset.cellWidths = sizes("td.cell", "width");
  document.body.dataset.cellHeights = sizes("td.cell", "height");
  document.body.dataset.labelWidths = sizes("th.x", "width");
})();
