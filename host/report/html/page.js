// SPDX-License-Identifier: MIT
"use strict";

// The divider follows the range input, and a pointer that is drawn over the pictures.
for (const figure of document.querySelectorAll(".compare")) {
  const stage = figure.querySelector(".stage");
  const range = figure.querySelector(".divider input");

  const place = () => {
    stage.style.setProperty("--cut", range.value + "%");
    range.setAttribute("aria-valuetext", Math.round(range.value) + " % before");
  };
  const follow = (event, frame) => {
    const box = frame.getBoundingClientRect();
    range.value = (100 * (event.clientX - box.left)) / box.width;
    place();
  };
  range.addEventListener("input", place);
  place();

  let held = null;
  stage.addEventListener("pointerdown", (event) => {
    held = figure.dataset.mode === "slider" && event.button === 0 ? event.target.closest(".frame") : null;
    if (!held) return;
    stage.setPointerCapture(event.pointerId);
    follow(event, held);
  });
  stage.addEventListener("pointermove", (event) => {
    if (held) follow(event, held);
  });
  for (const end of ["pointerup", "pointercancel"]) {
    stage.addEventListener(end, () => {
      held = null;
    });
  }
  stage.addEventListener("dragstart", (event) => event.preventDefault());

  for (const choice of figure.querySelectorAll(".toolbar input")) {
    const choose = () => {
      if (choice.checked) Object.assign(figure.dataset, choice.dataset);
    };
    choice.addEventListener("change", choose);
    choose(); // a reloaded page keeps what was chosen
  }
}

// One volume at a time.
const chooser = document.querySelector(".chooser select");
if (chooser) {
  const volumes = [...document.querySelectorAll(".volume")];
  const show = () => {
    volumes.forEach((volume, n) => {
      volume.hidden = n !== chooser.selectedIndex;
    });
  };
  chooser.addEventListener("change", show);
  show();
}

// Copies the methods paragraph, or selects it where the browser does not let a page copy.
for (const button of document.querySelectorAll("button[data-copy]")) {
  const text = document.getElementById(button.dataset.copy);
  button.addEventListener("click", async () => {
    try {
      await navigator.clipboard.writeText(text.innerText);
      button.textContent = "Copied";
    } catch {
      getSelection().selectAllChildren(text);
    }
  });
}
