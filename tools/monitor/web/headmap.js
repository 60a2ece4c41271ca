"use strict";
// The head seen from above, nose up: every electrode the server placed on
// the unit sphere, drawn where an azimuthal projection puts it (the
// circumference through Fpz, T7, Oz and T8 on the head's outline), coloured
// by its impedance.
const HeadMap = (() => {
  const SVG = "http://www.w3.org/2000/svg";

  function element(name, attributes, parent) {
    const node = document.createElementNS(SVG, name);
    for (const [key, value] of Object.entries(attributes)) node.setAttribute(key, value);
    if (parent) parent.appendChild(node);
    return node;
  }

  function project([x, y, z]) {
    const r = Math.acos(Math.max(-1, Math.min(1, z))) / (Math.PI / 2);
    const azimuth = Math.atan2(y, x);
    return [r * Math.cos(azimuth), -r * Math.sin(azimuth)];
  }

  // "good", "fair", "poor" or "unknown" for a value in kOhm.
  function level(kOhm, goodBelow, poorAbove) {
    if (kOhm === null || kOhm === undefined || Number.isNaN(kOhm)) return "unknown";
    if (kOhm < goodBelow) return "good";
    return kOhm > poorAbove ? "poor" : "fair";
  }

  function drawHead(svg) {
    element("path", { class: "head", d: "M -0.12 -0.99 L 0 -1.14 L 0.12 -0.99 Z" }, svg);
    element("ellipse", { class: "head", cx: -1.02, cy: 0, rx: 0.06, ry: 0.18 }, svg);
    element("ellipse", { class: "head", cx: 1.02, cy: 0, rx: 0.06, ry: 0.18 }, svg);
    element("circle", { class: "head", cx: 0, cy: 0, r: 1 }, svg);
  }

  // electrodes: [{name, kOhm, reference, position}] as the server sends them.
  function draw(svg, electrodes, goodBelow, poorAbove) {
    while (svg.firstChild) svg.removeChild(svg.firstChild);
    drawHead(svg);
    for (const electrode of electrodes) {
      if (!electrode.position) continue;
      const [x, y] = project(electrode.position);
      const kind = level(electrode.kOhm, goodBelow, poorAbove);
      const group = element("g", {
        class: `electrode ${kind}${electrode.reference ? " reference" : ""}`,
        "data-name": electrode.name,
        "data-kohm": electrode.kOhm === null ? "" : electrode.kOhm.toFixed(1),
        "data-level": kind,
      }, svg);
      element("circle", { cx: x, cy: y, r: electrode.reference ? 0.13 : 0.105 }, group);
      element("text", { x, y: y - 0.01 }, group).textContent = electrode.name;
      const value = electrode.reference ? "ref" : (electrode.kOhm === null ? "–" : electrode.kOhm.toFixed(1));
      element("text", { class: "value", x, y: y + 0.065 }, group).textContent = value;
    }
  }

  return { draw, level };
})();
