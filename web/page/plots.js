'use strict';
// Plots of the page, drawn as inline SVG: line plots against distance and views of the concentration
// field with contours at the levels.

const SVG_NS = 'http://www.w3.org/2000/svg';
const LEVEL_COLOURS = ['#c0392b', '#e67e22', '#2e86c1', '#8e44ad', '#16a085', '#7f8c8d'];

function svgElement(name, attributes, parent) {
  const element = document.createElementNS(SVG_NS, name);
  for (const [key, value] of Object.entries(attributes || {})) element.setAttribute(key, value);
  if (parent) parent.appendChild(element);
  return element;
}

function formatNumber(value, digits = 4) {
  if (value === null || value === undefined || !Number.isFinite(value)) return '–';
  if (value === 0) return '0';
  const magnitude = Math.abs(value);
  if (magnitude >= 1e-3 && magnitude < 1e6) {
    return Number(value.toPrecision(digits)).toString();
  }
  return value.toExponential(digits - 1).replace(/\.?0+e/, 'e').replace('e+', 'e');
}

// A figure as the command line prints it: four significant digits, trailing zeros dropped, with an
// exponent of two or more digits below 0.001 and from 999999.5 on ("1.329e-09"); "not computed" for a
// value that is not a number.
function figure(value) {
  if (value === null || value === undefined || Number.isNaN(value)) return 'not computed';
  if (!Number.isFinite(value)) return value > 0 ? 'inf' : '-inf';
  if (value === 0) return '0';
  const magnitude = Math.abs(value);
  if (magnitude < 1e-3 || magnitude >= 999999.5) {
    return value.toExponential(3).replace(/e([+-])(\d)$/, 'e$10$2');
  }
  const power = 3 - Math.floor(Math.log10(magnitude));
  const decimals = Math.max(0, power);
  const scale = Math.pow(10, power);
  const rounded = Math.sign(value) * Math.round(magnitude * scale) / scale; // halves away from zero
  let text = rounded.toFixed(decimals);
  if (text.includes('.')) text = text.replace(/0+$/, '').replace(/\.$/, '');
  return text === '-0' ? '0' : text;
}

// Round tick positions covering [lo, hi], about count of them.
function niceTicks(lo, hi, count = 6) {
  if (!(hi > lo)) return [lo];
  const raw = (hi - lo) / count;
  const power = Math.pow(10, Math.floor(Math.log10(raw)));
  const step = [1, 2, 2.5, 5, 10].map((f) => f * power).find((s) => s >= raw) || 10 * power;
  const ticks = [];
  for (let t = Math.ceil(lo / step) * step; t <= hi + step * 1e-9; t += step) ticks.push(Math.abs(t) < step * 1e-9 ? 0 : t);
  return ticks;
}

function logTicks(lo, hi) {
  const ticks = [];
  for (let e = Math.ceil(Math.log10(lo)); e <= Math.floor(Math.log10(hi)); e++) ticks.push(Math.pow(10, e));
  return ticks;
}

// The frame of a plot: axes, ticks, labels and the mapping from data to pixels.
function plotFrame(container, options) {
  container.textContent = '';
  const width = options.width || 760;
  const height = options.height || 300;
  const margin = { left: 64, right: 16, top: 12, bottom: 44 };
  const svg = svgElement('svg', { viewBox: `0 0 ${width} ${height}`, width: '100%', role: 'img',
    'aria-label': options.title || '' }, container);
  const innerW = width - margin.left - margin.right;
  const innerH = height - margin.top - margin.bottom;
  const log = !!options.logY;
  const [x0, x1] = options.xRange;
  let [y0, y1] = options.yRange;
  if (log) { y0 = Math.log10(y0); y1 = Math.log10(y1); }
  const sx = (x) => margin.left + ((x - x0) / (x1 - x0)) * innerW;
  const sy = (y) => margin.top + (1 - ((log ? Math.log10(y) : y) - y0) / (y1 - y0)) * innerH;
  svgElement('rect', { x: margin.left, y: margin.top, width: innerW, height: innerH, class: 'plot-area' }, svg);
  const axes = svgElement('g', { class: 'axes' }, svg);
  for (const t of niceTicks(x0, x1, Math.max(3, Math.round(innerW / 90)))) {
    const x = sx(t);
    svgElement('line', { x1: x, x2: x, y1: margin.top, y2: margin.top + innerH, class: 'grid' }, axes);
    svgElement('text', { x, y: margin.top + innerH + 16, 'text-anchor': 'middle' }, axes).textContent = formatNumber(t);
  }
  const yTicks = log ? logTicks(Math.pow(10, y0), Math.pow(10, y1)) : niceTicks(y0, y1, Math.max(3, Math.round(innerH / 50)));
  for (const t of yTicks) {
    const y = sy(t);
    svgElement('line', { x1: margin.left, x2: margin.left + innerW, y1: y, y2: y, class: 'grid' }, axes);
    svgElement('text', { x: margin.left - 6, y: y + 4, 'text-anchor': 'end' }, axes).textContent = formatNumber(t, 3);
  }
  svgElement('text', { x: margin.left + innerW / 2, y: height - 6, 'text-anchor': 'middle', class: 'axis-label' }, axes)
    .textContent = options.xLabel;
  svgElement('text', { x: 14, y: margin.top + innerH / 2, 'text-anchor': 'middle', class: 'axis-label',
    transform: `rotate(-90 14 ${margin.top + innerH / 2})` }, axes).textContent = options.yLabel;
  const clipId = `clip-${container.id}`;
  const defs = svgElement('defs', {}, svg);
  const clip = svgElement('clipPath', { id: clipId }, defs);
  svgElement('rect', { x: margin.left, y: margin.top, width: innerW, height: innerH }, clip);
  const body = svgElement('g', { 'clip-path': `url(#${clipId})` }, svg);
  return { svg, body, sx, sy, margin, innerW, innerH };
}

function polyline(frame, xs, ys, attributes) {
  const points = [];
  for (let i = 0; i < xs.length; i++) {
    if (Number.isFinite(xs[i]) && Number.isFinite(ys[i])) points.push(`${frame.sx(xs[i]).toFixed(2)},${frame.sy(ys[i]).toFixed(2)}`);
  }
  return svgElement('polyline', Object.assign({ points: points.join(' '), fill: 'none' }, attributes), frame.body);
}

function legend(frame, entries) {
  const g = svgElement('g', { class: 'legend' }, frame.svg);
  let x = frame.margin.left + 8;
  const y = frame.margin.top + 14;
  for (const entry of entries) {
    svgElement('line', { x1: x, x2: x + 18, y1: y - 4, y2: y - 4, stroke: entry.colour, 'stroke-width': 2.5,
      'stroke-dasharray': entry.dash || '' }, g);
    const text = svgElement('text', { x: x + 22, y }, g);
    text.textContent = entry.label;
    x += 30 + 7 * entry.label.length;
  }
}

// A quantity against arc length, with optional horizontal reference lines.
function seriesPlot(container, xs, ys, options) {
  const finite = ys.filter((v) => Number.isFinite(v) && (!options.logY || v > 0));
  if (xs.length === 0 || finite.length === 0) { container.textContent = 'No output steps.'; return; }
  let lo = Math.min(...finite);
  let hi = Math.max(...finite);
  for (const ref of options.references || []) {
    if (Number.isFinite(ref.value) && (!options.logY || ref.value > 0)) { lo = Math.min(lo, ref.value); hi = Math.max(hi, ref.value); }
  }
  if (options.logY) { lo /= 1.5; hi *= 1.5; } else { const pad = (hi - lo) * 0.08 || Math.abs(hi) * 0.05 || 1; lo -= pad; hi += pad; }
  const frame = plotFrame(container, Object.assign({ xRange: [Math.min(...xs), Math.max(...xs) || 1], yRange: [lo, hi] }, options));
  for (const ref of options.references || []) {
    if (!Number.isFinite(ref.value)) continue;
    const y = frame.sy(ref.value);
    svgElement('line', { x1: frame.margin.left, x2: frame.margin.left + frame.innerW, y1: y, y2: y, stroke: ref.colour,
      'stroke-dasharray': '6 4', 'stroke-width': 1.5 }, frame.body);
  }
  polyline(frame, xs, options.logY ? ys.map((v) => (v > 0 ? v : NaN)) : ys, { class: 'series' });
  if (options.references && options.references.length) legend(frame, options.references.map((r) => ({ colour: r.colour, label: r.label, dash: '6 4' })));
}

// Contour segments of a grid of values at one level, by marching squares with linear interpolation.
function contourSegments(grid, level) {
  const { na, nb, values } = grid;
  const segments = [];
  const v = (i, j) => values[j * na + i];
  // A cell with a corner where nothing is computed has no contour: the region stays open there.
  const known = (c) => c.every((x) => Number.isFinite(x));
  const lerp = (a, b) => (level - a) / (b - a);
  for (let j = 0; j < nb - 1; j++) {
    for (let i = 0; i < na - 1; i++) {
      const c = [v(i, j), v(i + 1, j), v(i + 1, j + 1), v(i, j + 1)];
      if (!known(c)) continue;
      const code = (c[0] >= level ? 1 : 0) | (c[1] >= level ? 2 : 0) | (c[2] >= level ? 4 : 0) | (c[3] >= level ? 8 : 0);
      if (code === 0 || code === 15) continue;
      // Crossing points on the four edges: bottom, right, top, left (in grid units).
      const edge = [
        () => [i + lerp(c[0], c[1]), j],
        () => [i + 1, j + lerp(c[1], c[2])],
        () => [i + lerp(c[3], c[2]), j + 1],
        () => [i, j + lerp(c[0], c[3])],
      ];
      const table = {
        1: [[3, 0]], 2: [[0, 1]], 3: [[3, 1]], 4: [[1, 2]], 5: [[3, 2], [0, 1]], 6: [[0, 2]], 7: [[3, 2]],
        8: [[2, 3]], 9: [[0, 2]], 10: [[0, 3], [1, 2]], 11: [[1, 2]], 12: [[1, 3]], 13: [[0, 1]], 14: [[0, 3]],
      };
      for (const [a, b] of table[code]) segments.push([edge[a](), edge[b]()]);
    }
  }
  return segments;
}

// A view of the field: shaded bands between the levels, contour lines at the levels, and the overlays.
// Where nothing is computed (null in the grid) the view is hatched and carries no contour.
function fieldPlot(container, given, levels, options) {
  const grid = Object.assign({}, given, { values: given.values.map((x) => (x === null ? NaN : x)) });
  const frame = plotFrame(container, Object.assign({ xRange: [grid.a0, grid.a1], yRange: [grid.b0, grid.b1], height: options.height || 300 }, options));
  const toX = (i) => grid.a0 + ((grid.a1 - grid.a0) * i) / (grid.na - 1);
  const toY = (j) => grid.b0 + ((grid.b1 - grid.b0) * j) / (grid.nb - 1);
  const sorted = levels.map((level, index) => ({ value: level.model, colour: LEVEL_COLOURS[index % LEVEL_COLOURS.length], label: level.label }))
    .filter((l) => Number.isFinite(l.value) && l.value > 0).sort((a, b) => a.value - b.value);
  // Shading: each cell takes the colour of the highest level its centre value reaches.
  const canvas = document.createElement('canvas');
  canvas.width = grid.na; canvas.height = grid.nb;
  const context = canvas.getContext('2d');
  const image = context.createImageData(grid.na, grid.nb);
  let notComputed = false;
  const rgb = (hex) => [1, 3, 5].map((k) => parseInt(hex.slice(k, k + 2), 16));
  for (let j = 0; j < grid.nb; j++) {
    for (let i = 0; i < grid.na; i++) {
      const value = grid.values[j * grid.na + i];
      let band = -1;
      for (let k = 0; k < sorted.length; k++) if (value >= sorted[k].value) band = k;
      const offset = ((grid.nb - 1 - j) * grid.na + i) * 4;
      if (!Number.isFinite(value)) {
        if ((i + j) % 4 < 2) image.data.set([69, 90, 100, 60], offset);
        notComputed = true;
      } else if (band >= 0) {
        const [r, g, b] = rgb(sorted[band].colour);
        image.data.set([r, g, b, 70], offset);
      } else if (value > 0) {
        image.data.set([120, 144, 156, 18], offset);
      }
    }
  }
  context.putImageData(image, 0, 0);
  const x0 = frame.sx(toX(0)), x1 = frame.sx(toX(grid.na - 1)), y0 = frame.sy(toY(grid.nb - 1)), y1 = frame.sy(toY(0));
  svgElement('image', { href: canvas.toDataURL(), x: x0, y: y0, width: x1 - x0, height: y1 - y0,
    preserveAspectRatio: 'none', style: 'image-rendering: pixelated' }, frame.body);
  for (const level of sorted) {
    const d = contourSegments(grid, level.value).map(([p, q]) =>
      `M${frame.sx(toX(p[0])).toFixed(1)},${frame.sy(toY(p[1])).toFixed(1)}L${frame.sx(toX(q[0])).toFixed(1)},${frame.sy(toY(q[1])).toFixed(1)}`).join('');
    svgElement('path', { d, stroke: level.colour, 'stroke-width': 2, fill: 'none', class: 'contour' }, frame.body);
  }
  if (options.centreline) {
    polyline(frame, options.centreline.xs, options.centreline.ys, { class: 'centreline' });
  }
  if (options.band) {
    polyline(frame, options.band.xs, options.band.upper, { class: 'band' });
    polyline(frame, options.band.xs, options.band.lower, { class: 'band' });
  }
  if (options.stack) {
    const [sx, sy] = [frame.sx(options.stack[0]), frame.sy(options.stack[1])];
    if (options.stackHeight !== undefined) {
      svgElement('line', { x1: sx, x2: sx, y1: frame.sy(0), y2: frame.sy(options.stackHeight), class: 'stack' }, frame.body);
    } else {
      svgElement('circle', { cx: sx, cy: sy, r: 4, class: 'stack-point' }, frame.body);
    }
  }
  // The far field's start and the end of the modelled region, as vertical marks across the view.
  const mark = (at, className) => {
    if (at === undefined || at === null || !Number.isFinite(at)) return false;
    const x = frame.sx(at);
    svgElement('line', { x1: x, x2: x, y1: frame.margin.top, y2: frame.margin.top + frame.innerH, class: className }, frame.body);
    return true;
  };
  const handOff = mark(options.handOff, 'hand-off');
  mark(options.runEnd, 'run-end');
  const entries = sorted.slice().reverse().map((l) => ({ colour: l.colour, label: l.label }));
  if (options.centreline) entries.push({ colour: '#263238', label: 'centreline' });
  if (handOff) entries.push({ colour: '#6a1b9a', label: 'far field from here', dash: '8 3' });
  if (notComputed) entries.push({ colour: '#455a64', label: 'not computed beyond (hatched)', dash: '2 3' });
  legend(frame, entries);
}

// Log-log plots, laid out as the command line's report lays them out: whole decades on both axes, ticks
// at 1, 2 and 5 of each decade (whole decades only when those are too many), labels as plain numbers from
// 0.0001 to below a million and as powers of ten beyond.
function wholeDecades(low, high) {
  const slack = 1e-9;
  const a = Math.floor(Math.log10(low) + slack);
  const b = Math.ceil(Math.log10(high) - slack);
  return [a, Math.max(b, a + 1)];
}

function logLogTicks(a, b, maxCount = 8) {
  const ticks = [];
  for (let e = a; e <= b; e++) for (const m of [1, 2, 5]) if (e < b || m === 1) ticks.push(m * Math.pow(10, e));
  if (ticks.length <= maxCount) return ticks;
  for (const stride of [1, 2, 5, 10, 20, 50, 100]) {
    const decades = [];
    for (let e = a; e <= b; e++) if (e % stride === 0) decades.push(Math.pow(10, e));
    if (decades.length <= maxCount) return decades;
  }
  return [Math.pow(10, a), Math.pow(10, b)];
}

function logTickText(value) {
  if (value >= 1e-4 && value < 1e6) {
    const decimals = Math.max(0, Math.ceil(-Math.log10(value) - 1e-9));
    return value.toFixed(decimals);
  }
  const exponent = Math.floor(Math.log10(value) + 1e-9);
  const mantissa = value / Math.pow(10, exponent);
  const superscript = (n) => String(n).replace('-', '\u207b').replace(/\d/g, (d) => '\u2070\u00b9\u00b2\u00b3\u2074\u2075\u2076\u2077\u2078\u2079'[d]);
  return (Math.abs(mantissa - 1) > 1e-6 ? `${Number(mantissa.toPrecision(2))}\u00d7` : '') + `10${superscript(exponent)}`;
}

// Concentration along the wind on log-log axes: curves of [x, y] points (broken where a value is not
// positive or not computed: a log axis has no place for it), horizontal level lines labelled at the right,
// and vertical marks. Phases: the ranges in whole decades; the frame; levels, marks, curves, legend.
function logLogPlot(container, curves, levels, marks, options) {
  container.textContent = '';
  let xLow = Infinity, xHigh = 0, yLow = Infinity, yHigh = 0;
  for (const curve of curves) {
    for (const [x, y] of curve.points) {
      if (x > 0 && y > 0 && Number.isFinite(x) && Number.isFinite(y)) {
        xLow = Math.min(xLow, x); xHigh = Math.max(xHigh, x); yLow = Math.min(yLow, y); yHigh = Math.max(yHigh, y);
      }
    }
  }
  if (!(xHigh > 0) || !(yHigh > 0)) {
    container.textContent = 'Nothing to draw: no positive concentration along the plume.';
    return null;
  }
  yLow = Math.max(yLow, yHigh * 1e-8); // levels far below every value would stretch the axis over empty decades
  const [xa, xb] = wholeDecades(Math.max(xLow, 0.1), xHigh);
  const [ya, yb] = wholeDecades(yLow, yHigh);
  const width = options.width || 760, height = options.height || 380;
  const margin = { left: 80, right: 30, top: 20, bottom: 50 };
  const innerW = width - margin.left - margin.right, innerH = height - margin.top - margin.bottom;
  const svg = svgElement('svg', { viewBox: `0 0 ${width} ${height}`, width: '100%', role: 'img', 'aria-label': options.title }, container);
  const sx = (x) => margin.left + ((Math.log10(x) - xa) / (xb - xa)) * innerW;
  const sy = (y) => margin.top + (1 - (Math.log10(y) - ya) / (yb - ya)) * innerH;
  svgElement('rect', { x: margin.left, y: margin.top, width: innerW, height: innerH, class: 'plot-area' }, svg);
  const axes = svgElement('g', { class: 'axes' }, svg);
  for (const t of logLogTicks(xa, xb)) {
    svgElement('line', { x1: sx(t), x2: sx(t), y1: margin.top, y2: margin.top + innerH, class: 'grid' }, axes);
    svgElement('text', { x: sx(t), y: margin.top + innerH + 18, 'text-anchor': 'middle' }, axes).textContent = logTickText(t);
  }
  for (const t of logLogTicks(ya, yb)) {
    svgElement('line', { x1: margin.left, x2: margin.left + innerW, y1: sy(t), y2: sy(t), class: 'grid' }, axes);
    svgElement('text', { x: margin.left - 6, y: sy(t) + 4, 'text-anchor': 'end' }, axes).textContent = logTickText(t);
  }
  svgElement('text', { x: margin.left + innerW / 2, y: height - 8, 'text-anchor': 'middle', class: 'axis-label' }, axes).textContent = options.xLabel;
  svgElement('text', { x: 14, y: margin.top + innerH / 2, 'text-anchor': 'middle', class: 'axis-label',
    transform: `rotate(-90 14 ${margin.top + innerH / 2})` }, axes).textContent = options.yLabel;
  const clipId = `clip-${container.id}`;
  const clip = svgElement('clipPath', { id: clipId }, svgElement('defs', {}, svg));
  svgElement('rect', { x: margin.left, y: margin.top, width: innerW, height: innerH }, clip);
  const body = svgElement('g', { 'clip-path': `url(#${clipId})` }, svg);
  const inside = (v, a, b) => v > 0 && Math.log10(v) >= a && Math.log10(v) <= b;
  levels.forEach((level, i) => {
    if (!inside(level.value, ya, yb)) return; // a level off the axes is not drawn
    const colour = LEVEL_COLOURS[i % LEVEL_COLOURS.length];
    svgElement('line', { x1: margin.left, x2: margin.left + innerW, y1: sy(level.value), y2: sy(level.value), stroke: colour,
      'stroke-dasharray': '6 3', 'stroke-width': 1.2, class: 'level-line' }, body);
    svgElement('text', { x: margin.left + innerW - 4, y: sy(level.value) - 4, 'text-anchor': 'end', fill: colour, class: 'level-label' }, svg)
      .textContent = level.label;
  });
  for (const mark of marks) {
    // A mark on the axes' edge is the edge itself: the plot ends there.
    if (!(mark.at > 0 && Math.log10(mark.at) > xa && Math.log10(mark.at) < xb)) continue;
    svgElement('line', { x1: sx(mark.at), x2: sx(mark.at), y1: margin.top, y2: margin.top + innerH, class: mark.className }, body);
    svgElement('text', { x: sx(mark.at) + 4, y: margin.top + 14, class: 'mark-label' }, svg).textContent = mark.label;
  }
  for (const curve of curves) {
    let piece = [];
    const flush = () => {
      if (piece.length > 1) svgElement('polyline', { points: piece.join(' '), fill: 'none', stroke: curve.colour, 'stroke-width': curve.width || 2,
        'stroke-dasharray': curve.dash || '', class: curve.className }, body);
      piece = [];
    };
    for (const [x, y] of curve.points) {
      if (x > 0 && y > 0 && Number.isFinite(x) && Number.isFinite(y)) piece.push(`${sx(x).toFixed(2)},${sy(y).toFixed(2)}`);
      else flush();
    }
    flush();
  }
  // The legend at the bottom left, where a plume falling away from its source leaves room.
  const frame = { svg, margin: { left: margin.left, top: margin.top + innerH - 26 } };
  legend(frame, curves.map((c) => ({ colour: c.colour, label: c.label, dash: c.dash })));
  return { xRange: [Math.pow(10, xa), Math.pow(10, xb)], yRange: [Math.pow(10, ya), Math.pow(10, yb)] };
}
