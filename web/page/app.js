'use strict';
// The page: a form from the model's input schema, a run on every change, the summary, the messages and
// the plots. Every figure comes from the compiled model through its two JSON calls, describe and run.

const state = {
  model: null,          // the compiled module
  schema: null,         // describe()'s answer
  scenario: {},         // input name -> number, enumeration label, or the text typed when not a number
  gas: '',              // the named gas of the scenario, or ''
  windFrom: false,      // true when the wind's bearing is typed as where it comes from (windFromBearing)
  timer: null,
  runs: 0,
  lastAnswer: null,
  scenarioName: 'scenario.json', // the name footprints carry: the opened file's, or the example's
  lastFootprint: null,  // the text of the last footprint downloaded
  openedAt: performance.now(),
  firstPlotMs: null,
};
window.ostreljet = state;

const GROUPS = [
  ['Release', (n) => !/^(source|atmosphere|reference|pasquill|stopping|time)/.test(n)],
  ['Source gas', (n) => n.startsWith('source')],
  ['Atmosphere and wind', (n) => /^(atmosphere|reference|pasquill)/.test(n)],
  ['Run controls', (n) => /^(stopping|time)/.test(n)],
];

const $ = (id) => document.getElementById(id);

function showPageError(text) {
  const box = $('page-error');
  box.hidden = !text;
  box.textContent = text || '';
}

function rangeText(input) {
  const r = input.range;
  if (input.enumeration) return input.labels.map((l) => l.label).join(', ');
  if (!r.bounded) return 'any number';
  const lo = r.lower === null ? '−∞' : formatNumber(r.lower, 6);
  const hi = r.upper === null ? '∞' : formatNumber(r.upper, 6);
  return `${r.lowerInclusive ? '[' : '('}${lo}, ${hi}${r.upperInclusive ? ']' : ')'}`;
}

function unitText(unit) {
  return unit === '-' ? '' : unit;
}

function sentence(text) {
  return text.charAt(0).toUpperCase() + text.slice(1);
}

// Builds the form from the schema: a group of fields per kind of input, and the gas picker.
function buildForm() {
  const form = $('form');
  form.textContent = '';
  for (const [title, belongs] of GROUPS) {
    const fieldset = document.createElement('fieldset');
    const legend = document.createElement('legend');
    legend.textContent = title;
    fieldset.appendChild(legend);
    if (title === 'Source gas') fieldset.appendChild(gasPicker());
    for (const input of state.schema.inputs.filter((i) => belongs(i.name))) {
      fieldset.appendChild(fieldFor(input));
    }
    form.appendChild(fieldset);
  }
}

function gasPicker() {
  const row = document.createElement('div');
  row.className = 'field';
  const label = document.createElement('label');
  label.htmlFor = 'field-gas';
  label.textContent = 'Gas';
  label.title = 'A gas of the table fills the source properties and sets the default levels (LFL, LFL/2)';
  const select = document.createElement('select');
  select.id = 'field-gas';
  select.appendChild(new Option('(properties as entered)', ''));
  for (const gas of state.schema.gases) {
    select.appendChild(new Option(`${gas.name} (${gas.formula})`, gas.name));
  }
  select.addEventListener('change', () => chooseGas(select.value));
  const hazards = document.createElement('div');
  hazards.id = 'gas-hazards';
  hazards.className = 'hint';
  const error = document.createElement('span');
  error.className = 'field-error';
  error.id = 'error-gas';
  row.append(label, select, error, hazards);
  return row;
}

function fieldFor(input) {
  const row = document.createElement('div');
  row.className = 'field';
  const label = document.createElement('label');
  label.htmlFor = `field-${input.name}`;
  label.textContent = sentence(input.meaning);
  const help = `${input.name}: ${input.meaning}. Unit: ${input.unit === '-' ? 'none' : input.unit}. ` +
    `Accepted: ${rangeText(input)}. New model: ${input.enumeration ? input.defaultLabel : formatNumber(input.default, 6)}.`;
  label.title = help;
  let control;
  if (input.enumeration) {
    control = document.createElement('select');
    for (const l of input.labels) control.appendChild(new Option(l.label, l.label));
  } else {
    control = document.createElement('input');
    control.type = 'text';
    control.inputMode = 'decimal';
    control.size = 10;
  }
  control.id = `field-${input.name}`;
  control.name = input.name;
  control.title = help;
  control.addEventListener(input.enumeration ? 'change' : 'input', () => {
    state.scenario[input.name] = input.enumeration ? control.value : readNumber(control.value);
    if (input.name.startsWith('source') && state.gas) {
      const gas = state.schema.gases.find((g) => g.name === state.gas);
      if (gas && gas[input.name] !== undefined && gas[input.name] !== state.scenario[input.name]) {
        showGasHazards(); // the gas stays named: its levels still apply, the value typed overrides it
      }
    }
    scenarioChanged();
  });
  const unit = document.createElement('span');
  unit.className = 'unit';
  unit.textContent = unitText(input.unit);
  const range = document.createElement('span');
  range.className = 'range';
  range.textContent = rangeText(input);
  const error = document.createElement('span');
  error.className = 'field-error';
  error.id = `error-${input.name}`;
  row.append(label, control, unit, range, error);
  if (input.name === 'referenceWindBearing') row.append(windChoice());
  return row;
}

// The wind's bearing as the model takes it (where the wind blows towards) or as weather records give it
// (where it comes from, saved as windFromBearing); the model turns the second into the first.
function windChoice() {
  const box = document.createElement('div');
  box.className = 'hint';
  const select = document.createElement('select');
  select.id = 'wind-convention';
  select.title = 'How the bearing above is read: where the wind blows towards (referenceWindBearing) or ' +
    'where it comes from, as weather records give it (windFromBearing)';
  select.append(new Option('the wind blows towards it', 'towards'), new Option('the wind comes from it', 'from'));
  select.addEventListener('change', () => {
    state.windFrom = select.value === 'from';
    showWindConvention();
    scenarioChanged();
  });
  const towards = document.createElement('span');
  towards.id = 'wind-towards';
  box.append('Bearing: ', select, ' ', towards);
  return box;
}

// The wind bearing's label and choice for the convention in use.
function showWindConvention() {
  $('wind-convention').value = state.windFrom ? 'from' : 'towards';
  const label = document.querySelector('label[for="field-referenceWindBearing"]');
  const input = state.schema.inputs.find((i) => i.name === 'referenceWindBearing');
  label.textContent = state.windFrom
    ? 'Bearing the wind comes from, from north (+y) to east (+x)'
    : sentence(input.meaning);
}

// A number when the text is one as every front reads numbers (decimal only, finite); otherwise the text
// itself, which the scenario reader then refuses with a message naming the input.
function readNumber(text) {
  const trimmed = text.trim();
  if (trimmed === '') return trimmed;
  const reading = JSON.parse(state.model.number(trimmed));
  return reading.ok ? reading.value : trimmed;
}

function chooseGas(name) {
  state.gas = name;
  const gas = state.schema.gases.find((g) => g.name === name);
  if (gas) {
    for (const key of ['sourceMolecularWeight', 'sourceSpecificHeat', 'sourceSpecificHeatRatio']) {
      state.scenario[key] = gas[key];
    }
  }
  fillForm();
  scenarioChanged();
}

function showGasHazards() {
  const box = $('gas-hazards');
  const gas = state.schema.gases.find((g) => g.name === state.gas);
  if (!gas) { box.textContent = ''; return; }
  const parts = [`M ${formatNumber(gas.sourceMolecularWeight, 5)} kg/mol`];
  if (gas.lowerFlammabilityLimit !== null) parts.push(`LFL ${gas.lowerFlammabilityLimit} % by volume`);
  if (gas.upperFlammabilityLimit !== null) parts.push(`UFL ${gas.upperFlammabilityLimit} % by volume`);
  if (gas.idlh !== null) parts.push(`IDLH ${gas.idlh} ppm`);
  box.textContent = parts.join(' · ');
}

function fillForm() {
  for (const input of state.schema.inputs) {
    const control = $(`field-${input.name}`);
    const value = state.scenario[input.name];
    control.value = value === undefined ? '' : String(value);
  }
  $('field-gas').value = state.gas;
  showWindConvention();
  showGasHazards();
}

// The scenario as a scenario file: the gas first, then every input in the schema's order.
function scenarioObject() {
  const object = {};
  if (state.gas) object.gas = state.gas;
  for (const input of state.schema.inputs) {
    if (state.scenario[input.name] !== undefined && state.scenario[input.name] !== '') {
      const key = input.name === 'referenceWindBearing' && state.windFrom ? 'windFromBearing' : input.name;
      object[key] = state.scenario[input.name];
    }
  }
  return object;
}

function scenarioText() {
  return JSON.stringify(scenarioObject(), null, 2) + '\n';
}

// Takes a scenario's text: every input of the schema from the file, else the value of a new model.
function loadScenarioText(text, origin) {
  let object;
  try {
    object = JSON.parse(text);
  } catch (error) {
    showPageError(`${origin}: not a JSON scenario (${error.message})`);
    return false;
  }
  if (object === null || typeof object !== 'object' || Array.isArray(object)) {
    showPageError(`${origin}: a scenario is a JSON object of input properties`);
    return false;
  }
  showPageError('');
  state.gas = typeof object.gas === 'string' ? object.gas : '';
  const gas = state.schema.gases.find((g) => g.name === state.gas);
  const has = (key) => Object.prototype.hasOwnProperty.call(object, key);
  // Where the wind comes from, unless the file gives both bearings (the model refuses that, naming both).
  state.windFrom = has('windFromBearing') && !has('referenceWindBearing');
  state.scenario = {};
  for (const input of state.schema.inputs) {
    if (input.name === 'referenceWindBearing' && state.windFrom) {
      state.scenario[input.name] = object.windFromBearing;
    } else if (has(input.name)) {
      state.scenario[input.name] = object[input.name];
    } else if (gas && gas[input.name] !== undefined) {
      state.scenario[input.name] = gas[input.name];
    } else {
      state.scenario[input.name] = input.enumeration ? input.defaultLabel : input.default;
    }
  }
  // Keys the form has no field for still go to the model, which names them in its refusal.
  state.extra = {};
  for (const key of Object.keys(object)) {
    if (key === 'gas' || (key === 'windFromBearing' && state.windFrom)) continue;
    if (!state.schema.inputs.some((i) => i.name === key)) state.extra[key] = object[key];
  }
  fillForm();
  scenarioChanged(true);
  return true;
}

function compactScenario() {
  return JSON.stringify(Object.assign(scenarioObject(), state.extra || {}));
}

// The page's address: the scenario after '#', then the levels and the unit when they are not the
// defaults ("#{...}&levels=LFL%2C2%25&unit=ppm"), so that a copied link shows the same answers.
function addressHash() {
  let hash = `#${encodeURIComponent(compactScenario())}`;
  const levels = $('levels').value.trim();
  if (levels !== '') hash += `&levels=${encodeURIComponent(levels)}`;
  if ($('unit').value !== state.schema.units[0].word) hash += `&unit=${encodeURIComponent($('unit').value)}`;
  return hash;
}

function updateAddress() {
  history.replaceState(null, '', addressHash());
}

function scenarioChanged(now) {
  updateAddress();
  clearTimeout(state.timer);
  if (now) runNow();
  else state.timer = setTimeout(runNow, 150);
}

function runNow() {
  const request = {
    scenario: compactScenario(),
    levels: $('levels').value.trim(),
    unit: $('unit').value,
  };
  const started = performance.now();
  let answer;
  try {
    answer = JSON.parse(state.model.run(JSON.stringify(request)));
  } catch (error) {
    answer = { ok: false, error: { message: `the model failed: ${error && error.message ? error.message : error}`, field: '' } };
  }
  const elapsed = performance.now() - started;
  state.lastAnswer = answer;
  state.runs += 1;
  try {
    render(answer);
  } catch (error) {
    showPageError(`could not draw the results: ${error.message}`);
    console.warn(error);
  }
  $('status').textContent = answer.status
    ? `run ${state.runs}: ${answer.status}, ${elapsed.toFixed(0)} ms in the model`
    : `run ${state.runs}: inputs refused`;
  $('wind-towards').textContent = answer.windTowardsBearing !== undefined && answer.windTowardsBearing !== null
    ? `(the model's bearing, where it blows towards: ${figure(answer.windTowardsBearing)}°)` : '';
  if (state.firstPlotMs === null && answer.ok && answer.views) {
    state.firstPlotMs = performance.now(); // from the start of the navigation to the page
    document.body.dataset.firstPlotMs = state.firstPlotMs.toFixed(0);
  }
  document.body.dataset.runs = String(state.runs);
}

function clearFieldErrors() {
  for (const element of document.querySelectorAll('.field-error')) element.textContent = '';
  for (const element of document.querySelectorAll('.invalid')) element.classList.remove('invalid');
}

function showFieldError(field, message) {
  const target = $(`error-${field}`) || null;
  if (target) {
    target.textContent = message;
    const control = $(`field-${field}`) || (field === 'levels' ? $('levels') : null);
    if (control) control.classList.add('invalid');
  } else {
    showPageError(message);
  }
}

function render(answer) {
  clearFieldErrors();
  showPageError('');
  // Refused inputs show their message beside their field; a refused or failed run says so in its summary.
  if (answer.error && (!answer.status || answer.status === 'invalid')) showFieldError(answer.error.field, answer.error.message);
  renderMessages(answer);
  renderSummary(answer);
  renderPlots(answer);
}

function renderMessages(answer) {
  const list = $('messages');
  list.textContent = '';
  const messages = (answer.messages || (answer.error ? [{ text: answer.error.message, severity: 'error' }] : []))
    .concat(answer.farField ? answer.farField.warnings.map((text) => ({ text, severity: 'warning' })) : []);
  if (messages.length === 0) {
    const item = document.createElement('li');
    item.textContent = 'No messages.';
    list.appendChild(item);
  }
  for (const message of messages) {
    const item = document.createElement('li');
    item.className = `severity-${message.severity}`;
    const badge = document.createElement('span');
    badge.className = 'badge';
    badge.textContent = message.severity;
    item.append(badge, ` ${message.text}`);
    list.appendChild(item);
  }
}

function cell(row, text, value) {
  const td = document.createElement('td');
  td.textContent = text;
  if (value !== undefined && value !== null) td.dataset.value = String(value);
  row.appendChild(td);
  return td;
}

// The words of a run's status, and how serious it is, as the command line's exit status says: ok and
// warning have results (exit 0), incomplete has results up to where it ended, the others have none.
const STATUS_SEVERITY = { ok: 'information', warning: 'warning', incomplete: 'warning', failed: 'error', refused: 'error', invalid: 'error' };
const NOT_COMPUTED = 'not computed';
// An answer the summary's limits left unsearched.
const NOT_SEARCHED = 'not computed (the summary reached its limit; see the messages)';

function downwind(metres) {
  return `${figure(metres)} m downwind`;
}

// A distance that is rounding noise beside another of the same place (below 1e-9 of it, or of 1 m) is 0.
function withoutNoise(value, beside) {
  return Math.abs(value) < 1e-9 * Math.max(1, Math.abs(beside)) ? 0 : value;
}

function hasResults(answer) {
  return !!answer.status && STATUS_SEVERITY[answer.status] !== 'error';
}

// The summary as the command line words it: how the run ended and its status; for a run with results,
// where it is modelled, its heights and ground contacts, the ground-level maximum, and a table of the
// levels. A run without results shows its message and nothing else.
// How an answer that the far field gave is marked.
const IN_FAR_FIELD = ' (in the far field)';

function renderSummary(answer) {
  const box = $('summary');
  box.textContent = '';
  if (!answer.status) {
    box.textContent = answer.error ? `No run: ${answer.error.message}` : 'No run.';
    return;
  }
  const s = answer.summary;
  const unit = answer.unit.label;
  const table = document.createElement('table');
  table.className = 'summary';
  const add = (key, label, text, value) => {
    const row = table.insertRow();
    row.dataset.key = key;
    const th = document.createElement('th');
    th.textContent = label;
    row.appendChild(th);
    return cell(row, text, value);
  };
  add('ending', 'Run ended', s.endMessage ? s.endMessage : s.ending);
  const status = add('status', 'Run status', answer.status);
  status.className = `run-status severity-${STATUS_SEVERITY[answer.status]}`;
  box.appendChild(table);
  if (!hasResults(answer)) return;

  add('outputSteps', 'Output steps', String(s.outputSteps), s.outputSteps);
  // Past the jet's end the far field answers where one was built; nothing is computed beyond it.
  const far = answer.farField;
  const end = s.notComputedBeyondDownwind;
  let beyond = end === null ? NOT_COMPUTED : `${NOT_COMPUTED} beyond ${downwind(end)}`;
  if (far) {
    const from = far.handOff.downwindDistance;
    const to = far.end.downwindDistance;
    beyond = `the far field answers from ${downwind(from)}; ${NOT_COMPUTED} beyond ${downwind(to)}`;
    add('notComputedBeyondDownwind', 'Modelled region', `the jet to ${downwind(from)}, the far field from there to ${downwind(to)}; not computed beyond`, to);
  } else if (end !== null) {
    add('notComputedBeyondDownwind', 'Modelled region', `to ${downwind(end)}, where the run ends; not computed beyond`, end);
  }
  if (s.stoppingConcentrationLoweredFrom !== null) {
    add('stoppingConcentration', 'Stopping concentration',
      `${figure(s.stoppingConcentration)} ${unit}, lowered from the scenario's ${figure(s.stoppingConcentrationLoweredFrom)} ${unit} to half the lowest level`,
      s.stoppingConcentration);
  }
  if (s.greatestCentrelineHeight) {
    const g = s.greatestCentrelineHeight;
    add('greatestCentrelineHeight', 'Greatest centreline height', `${figure(g.z)} m, ${downwind(g.downwind)}`, g.z);
  }
  const ground = (distance) => (distance === null ? 'not within the run' : downwind(distance));
  add('edgeReachesGroundDownwind', 'Plume edge reaches the ground', ground(s.edgeReachesGroundDownwind), s.edgeReachesGroundDownwind);
  add('centrelineReachesGroundDownwind', 'Centreline reaches the ground', ground(s.centrelineReachesGroundDownwind), s.centrelineReachesGroundDownwind);
  const maximumLabel = 'Greatest ground-level concentration';
  if (!s.groundMaximumComputed) {
    add('groundMaximum', maximumLabel, NOT_SEARCHED);
  } else if (s.groundMaximum && s.groundMaximum.concentration !== null) {
    const g = s.groundMaximum;
    add('groundMaximum', maximumLabel, `${figure(g.concentration)} ${unit} at ${downwind(g.location.downwind)}` +
      `${g.inFarField ? IN_FAR_FIELD : ''}, ` +
      `${figure(withoutNoise(g.location.crosswind, g.location.downwind))} m across`, g.concentration);
  } else if (s.groundMaximum) {
    add('groundMaximum', maximumLabel, NOT_COMPUTED);
  } else {
    add('groundMaximum', maximumLabel, `the plume does not reach the ground within the run; ${beyond}`);
  }

  // Each level as "LFL, 0.05 volume fraction": where the centreline falls below it, and its region.
  s.levels.forEach((level, index) => {
    let centreline;
    if (level.centrelineDownwindDistance !== null && level.centrelineArcLength !== null) {
      centreline = `centreline below it from ${downwind(level.centrelineDownwindDistance)} (${figure(level.centrelineArcLength)} m along it)`;
    } else if (level.centrelineDownwindDistance !== null) {
      centreline = `centreline below it from ${downwind(level.centrelineDownwindDistance)}${level.centrelineInFarField ? IN_FAR_FIELD : ''}`;
    } else if (level.exceededAtEndOfRun && level.centrelineInFarField && far) {
      centreline = `centreline above it to the far field's end, ${downwind(far.end.downwindDistance)}; not computed beyond`;
    } else if (level.exceededAtEndOfRun) {
      centreline = `centreline above it to the end of the run; ${beyond}`;
    } else {
      centreline = 'centreline below it from the start';
    }
    let region = 'region above it: none';
    if (!level.regionComputed) {
      region = `region above it: ${NOT_SEARCHED}`;
    } else if (level.farthestDownwindExtent !== null && level.greatestHalfWidth !== null) {
      const where = level.regionInFarField ? 'the far field' : 'the run';
      region = `region above it to ${downwind(level.farthestDownwindExtent)}${level.regionInFarField ? IN_FAR_FIELD : ''}, ` +
        `${figure(level.greatestHalfWidth)} m half-width` + (level.regionOpen ? ` (still exceeded where ${where} ends: open)` : '');
    }
    const td = add(`level-${index}`, `${level.level}, ${figure(level.value)} ${unit}`, `${centreline}; ${region}`, level.farthestDownwindExtent);
    const row = td.parentElement;
    row.dataset.level = level.level;
    row.dataset.levelValue = String(level.value);
    row.className = 'level';
    row.firstChild.style.borderLeft = `6px solid ${LEVEL_COLOURS[index % LEVEL_COLOURS.length]}`;
  });
  addFarField(add, far, unit);
}

// Two lines of the far field: where it runs and why; then how far each level reaches through it and its
// greatest ground-level concentration.
function addFarField(add, far, unit) {
  if (!far) {
    add('farField', 'Far field', NOT_COMPUTED);
    return;
  }
  const h = far.handOff;
  const height = Math.abs(h.height) < 1e-9 ? 0 : h.height; // a height within rounding of the ground
  const dense = far.passiveFrom > h.downwindDistance ? `, dense to ${figure(far.passiveFrom)} m then passive,` : '';
  const endWords = far.end.atDistance ? 'the far-field distance' : 'below a tenth of the lowest level';
  add('farField', 'Far field', `from ${figure(h.downwindDistance)} m downwind, ${figure(height)} m up (${h.reason}, ` +
    `continuity ratio ${figure(far.continuityRatio)})${dense} to ${figure(far.end.downwindDistance)} m downwind (${endWords})`,
  far.end.downwindDistance);
  let reach = '';
  for (const level of far.levels) {
    const value = level.farthestDownwind === null ? 'below it throughout'
      : level.exceededAtEnd ? `still above it at the end, ${figure(level.farthestDownwind)} m downwind`
        : `above it to ${figure(level.farthestDownwind)} m downwind`;
    reach += `${level.level} ${value}; `;
  }
  const peak = far.groundLevelMaximum;
  reach += peak ? `greatest ground level ${figure(peak.value)} ${unit} at ${figure(peak.downwindDistance)} m downwind` +
    (peak.atEnd ? ' (its end; still rising there)' : '') : '0 at ground level throughout';
  add('pastTheJet', 'Past the jet', reach, peak ? peak.value : undefined);
}

function levelEntries(answer) {
  return (answer.summary ? answer.summary.levels : []).map((l) => ({ model: l.model, label: l.level }));
}

// The concentration along the wind on log-log axes, as the command line's report draws it: the jet's
// centreline to the hand-off, then the far field's axis and the ground below it, to the far field's end,
// with the levels across it. Returns the curves drawn (for the page's checks).
function renderAlongTheWind(answer) {
  const container = $('plot-along-wind');
  container.classList.remove('no-plot');
  state.alongTheWind = null;
  // A run without results has no footprint either.
  $('download-footprint').disabled = !answer.views;
  $('download-footprint').title = answer.views ? '' : 'No footprint: the run has no results';
  if (!answer.views) {
    container.textContent = !answer.status ? 'No run.'
      : `No plot: the run's status is ${answer.status}, and it has no results (see the summary).`;
    container.classList.add('no-plot');
    return;
  }
  const far = answer.farField;
  const handOff = far ? far.handOff.downwindDistance : Infinity;
  const jet = [];
  for (let k = 0; k < answer.views.downwind.length; k++) {
    if (answer.views.downwind[k] > handOff) break;
    jet.push([answer.views.downwind[k], answer.concentrationShown[k]]);
  }
  const curves = [{ label: "jet's centreline", colour: '#0b2a55', width: 2, points: jet, className: 'curve-jet' }];
  const marks = [];
  if (far) {
    const s = far.series;
    curves.push({ label: "far field's axis", colour: '#1f5fa8', width: 1.8, className: 'curve-axis',
      points: s.downwindDistance.map((x, i) => [x, s.centrelineConcentration[i]]) });
    curves.push({ label: 'ground below it', colour: '#c0561b', width: 1.8, dash: '5 2', className: 'curve-ground',
      points: s.downwindDistance.map((x, i) => [x, s.groundLevelConcentration[i]]) });
    marks.push({ at: far.handOff.downwindDistance, label: 'hand-off', className: 'hand-off' });
    marks.push({ at: far.end.downwindDistance, label: 'end: not computed beyond', className: 'run-end' });
  }
  const levels = answer.summary.levels.map((l) => ({ value: l.value, label: l.level }));
  const unit = answer.unit.label;
  const ranges = logLogPlot(container, curves, levels, marks, {
    title: 'concentration along the wind, log-log', xLabel: 'downwind distance from the stack (m)',
    yLabel: `concentration (${unit})`,
  });
  state.alongTheWind = ranges ? { curves, marks, ranges } : null;
}

// Runs the scenario again for the footprint of each level at the chosen height and downloads it as
// GeoJSON in the site frame, as `ostreljet footprint` writes it without an origin.
function downloadFootprint() {
  const field = $('footprint-height');
  $('error-height').textContent = '';
  field.classList.remove('invalid');
  const read = JSON.parse(state.model.number(field.value.trim()));
  if (!read.ok || read.value < 0) {
    $('error-height').textContent = `height "${field.value}" ${read.ok ? 'is below the ground' : read.reason}`;
    field.classList.add('invalid');
    return;
  }
  const request = {
    scenario: compactScenario(), levels: $('levels').value.trim(), unit: $('unit').value,
    height: read.value, scenarioName: state.scenarioName,
  };
  let answer;
  try {
    answer = JSON.parse(state.model.footprint(JSON.stringify(request)));
  } catch (error) {
    answer = { ok: false, error: { message: `the model failed: ${error && error.message ? error.message : error}`, field: '' } };
  }
  if (!answer.ok) {
    if (answer.error.field === 'levels') showFieldError('levels', answer.error.message);
    else $('error-height').textContent = `no footprint: ${answer.error.message}`;
    return;
  }
  state.lastFootprint = answer.geojson;
  const blob = new Blob([answer.geojson], { type: 'application/geo+json' });
  const link = document.createElement('a');
  link.href = URL.createObjectURL(blob);
  link.download = `${state.scenarioName.replace(/\.json$/i, '')}-footprint.geojson`;
  document.body.appendChild(link);
  link.click();
  link.remove();
  setTimeout(() => URL.revokeObjectURL(link.href), 1000);
  $('status').textContent = `footprint written: ${link.download} (${answer.coordinates})`;
}

function renderPlots(answer) {
  renderAlongTheWind(answer);
  const ids = ['plot-side', 'plot-plan-height', 'plot-plan-ground', 'plot-concentration', 'plot-temperature', 'plot-velocity'];
  if (!answer.views) {
    const why = !answer.status ? 'No run.'
      : hasResults(answer) ? 'No output steps.'
      : `No plots: the run's status is ${answer.status}, and it has no results (see the summary).`;
    for (const id of ids) {
      $(id).textContent = why;
      $(id).classList.add('no-plot');
    }
    $('plan-height').textContent = '';
    return;
  }
  for (const id of ids) $(id).classList.remove('no-plot');
  const v = answer.views;
  const steps = answer.steps;
  const levels = levelEntries(answer);
  const stackHeight = Number(state.scenario.stackHeight);
  fieldPlot($('plot-side'), v.side, levels, {
    title: 'side view', xLabel: 'downwind distance (m)', yLabel: 'height (m)', height: 320,
    centreline: { xs: v.downwind, ys: steps.z },
    band: { xs: v.downwind, upper: steps.z.map((z, k) => z + steps.profileRadius[k]), lower: steps.z.map((z, k) => z - steps.profileRadius[k]) },
    stack: [0, stackHeight], stackHeight, runEnd: v.end, handOff: v.handOff,
  });
  $('plan-height').textContent = `(${formatNumber(v.planHeight)} m above ground, the greatest centreline height)`;
  fieldPlot($('plot-plan-height'), v.planAtHeight, levels, {
    title: 'plan view at the plume height', xLabel: 'downwind distance (m)', yLabel: 'crosswind, left of the wind (m)',
    centreline: { xs: v.downwind, ys: v.crosswind }, stack: [0, 0], runEnd: v.end, handOff: v.handOff,
  });
  fieldPlot($('plot-plan-ground'), v.planAtGround, levels, {
    title: 'plan view at ground level', xLabel: 'downwind distance (m)', yLabel: 'crosswind, left of the wind (m)',
    centreline: { xs: v.downwind, ys: v.crosswind }, stack: [0, 0], runEnd: v.end, handOff: v.handOff,
  });
  const arc = steps.arclength;
  const unit = answer.unit.label;
  seriesPlot($('plot-concentration'), arc, answer.concentrationShown, {
    title: 'centreline concentration', xLabel: 'arc length (m)', yLabel: `concentration (${unit})`, logY: true, width: 420, height: 280,
    references: answer.summary.levels.map((l, i) => ({ value: l.value, colour: LEVEL_COLOURS[i % LEVEL_COLOURS.length], label: l.level })),
  });
  seriesPlot($('plot-temperature'), arc, steps.centrelineTemperature, {
    title: 'centreline temperature', xLabel: 'arc length (m)', yLabel: 'temperature (K)', width: 420, height: 280,
  });
  seriesPlot($('plot-velocity'), arc, steps.centrelineVelocity, {
    title: 'centreline velocity', xLabel: 'arc length (m)', yLabel: 'velocity (m/s)', width: 420, height: 280,
  });
}

function saveScenario() {
  const blob = new Blob([scenarioText()], { type: 'application/json' });
  const link = document.createElement('a');
  link.href = URL.createObjectURL(blob);
  link.download = 'scenario.json';
  document.body.appendChild(link);
  link.click();
  link.remove();
  setTimeout(() => URL.revokeObjectURL(link.href), 1000);
}

// What the address holds: the scenario's text (null when none), and the levels and unit when given.
function readAddress() {
  if (location.hash.length <= 1) return { scenario: null };
  const [first, ...rest] = location.hash.slice(1).split('&');
  try {
    const read = { scenario: decodeURIComponent(first) };
    for (const part of rest) {
      const at = part.indexOf('=');
      const key = at < 0 ? part : part.slice(0, at);
      if (key === 'levels' || key === 'unit') read[key] = decodeURIComponent(part.slice(at + 1));
    }
    return read;
  } catch (error) {
    showPageError(`the address does not hold a scenario: ${error.message}`);
    return { scenario: null };
  }
}

// Takes the levels and unit of the address; the defaults when it gives none.
function applyAddressControls(read) {
  $('levels').value = read.levels !== undefined ? read.levels : '';
  const unit = state.schema.units.find((u) => u.word === read.unit);
  $('unit').value = unit ? unit.word : state.schema.units[0].word;
}

function start(model) {
  state.model = model;
  state.schema = JSON.parse(model.describe());
  if (!state.schema.ok) { showPageError(state.schema.error.message); return; }
  for (const unit of state.schema.units) $('unit').appendChild(new Option(unit.label, unit.word));
  for (const name of Object.keys(OSTRELJET_EXAMPLES)) $('example').appendChild(new Option(name.replace(/_/g, ' '), name));
  buildForm();
  $('unit').addEventListener('change', () => { updateAddress(); runNow(); });
  $('levels').addEventListener('input', () => { updateAddress(); clearTimeout(state.timer); state.timer = setTimeout(runNow, 300); });
  $('save-file').addEventListener('click', saveScenario);
  $('download-footprint').addEventListener('click', downloadFootprint);
  $('copy-link').addEventListener('click', () => {
    if (navigator.clipboard) navigator.clipboard.writeText(location.href).catch(() => {});
    $('status').textContent = 'link copied: the address holds this scenario, its levels and unit';
  });
  $('example').addEventListener('change', () => {
    const name = $('example').value;
    if (name && loadScenarioText(OSTRELJET_EXAMPLES[name], name)) state.scenarioName = `${name}.json`;
    $('example').value = '';
  });
  $('open-file').addEventListener('change', () => {
    const file = $('open-file').files[0];
    if (!file) return;
    file.text().then((text) => { if (loadScenarioText(text, file.name)) state.scenarioName = file.name; });
    $('open-file').value = '';
  });
  window.addEventListener('hashchange', () => {
    if (location.hash === addressHash()) return;
    const read = readAddress();
    if (read.scenario === null) return;
    applyAddressControls(read);
    loadScenarioText(read.scenario, 'the address');
  });
  const read = readAddress();
  applyAddressControls(read);
  if (read.scenario === null || !loadScenarioText(read.scenario, 'the address')) {
    if (loadScenarioText(OSTRELJET_EXAMPLES.vertical_buoyant_vent, 'vertical_buoyant_vent')) {
      state.scenarioName = 'vertical_buoyant_vent.json';
    }
  }
}

createOstreljet().then(start, (error) => showPageError(`the model could not start: ${error}`));
