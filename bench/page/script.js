"use strict";
for (const box of document.querySelectorAll("input[data-for]")) {
  const list = document.getElementById(box.dataset.for);
  const told = document.getElementById(box.dataset.for + "-count");
  box.addEventListener("input", () => {
    const wanted = box.value.toLowerCase();
    let shown = 0;
    for (const row of list.children) {
      row.hidden = !row.textContent.toLowerCase().includes(wanted);
      shown += row.hidden ? 0 : 1;
    }
    told.textContent = shown + " of " + list.children.length;
  });
}
addEventListener("beforeprint", () => {
  for (const part of document.querySelectorAll("details")) part.open = true;
});
