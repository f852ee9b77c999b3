'use strict';
// The page: a form from the model's input schema, a run on every change, the summary, the messages and
// the plots. Every figure comes from the compiled model through its two JSON calls, describe and run.

const state = {
  model: null,          // the compiled module
  schema: null,         // describe()'s answer
  scenario: {},         // input name -> number, enumeration label, or the text typed when not a number
  gas: '',              // the named gas of the scenario, or ''
  timer: null,
  runs: 0,
  lastAnswer: null,
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
  return row;
}

// A number when the text is one; otherwise the text itself, which the scenario reader then refuses
// with a message naming the input.
function readNumber(text) {
  const trimmed = text.trim();
  if (trimmed !== '' && Number.isFinite(Number(trimmed))) return Number(trimmed);
  return trimmed;
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
  showGasHazards();
}

// The scenario as a scenario file: the gas first, then every input in the schema's order.
function scenarioObject() {
  const object = {};
  if (state.gas) object.gas = state.gas;
  for (const input of state.schema.inputs) {
    if (state.scenario[input.name] !== undefined && state.scenario[input.name] !== '') object[input.name] = state.scenario[input.name];
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
  state.scenario = {};
  for (const input of state.schema.inputs) {
    if (Object.prototype.hasOwnProperty.call(object, input.name)) {
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
    if (key !== 'gas' && !state.schema.inputs.some((i) => i.name === key)) state.extra[key] = object[key];
  }
  fillForm();
  scenarioChanged(true);
  return true;
}

function scenarioChanged(now) {
  const compact = JSON.stringify(Object.assign(scenarioObject(), state.extra || {}));
  history.replaceState(null, '', `#${encodeURIComponent(compact)}`);
  clearTimeout(state.timer);
  if (now) runNow();
  else state.timer = setTimeout(runNow, 150);
}

function runNow() {
  const request = {
    scenario: JSON.stringify(Object.assign(scenarioObject(), state.extra || {})),
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
  $('status').textContent = answer.ok ? `run ${state.runs}: ${elapsed.toFixed(0)} ms in the model` : 'inputs refused';
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
  if (answer.error) showFieldError(answer.error.field, answer.error.message);
  renderMessages(answer);
  renderSummary(answer);
  renderPlots(answer);
}

function renderMessages(answer) {
  const list = $('messages');
  list.textContent = '';
  const messages = answer.messages || (answer.error ? [{ text: answer.error.message, severity: 'error' }] : []);
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

function metres(value) {
  return value === null || value === undefined ? null : `${formatNumber(value)} m`;
}

function renderSummary(answer) {
  const box = $('summary');
  box.textContent = '';
  if (!answer.summary) {
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
    cell(row, text, value);
  };
  add('ending', 'Run ended', s.endMessage ? s.endMessage : s.ending);
  add('outputSteps', 'Output steps', String(s.outputSteps), s.outputSteps);
  if (s.greatestCentrelineHeight) {
    const g = s.greatestCentrelineHeight;
    add('greatestCentrelineHeight', 'Greatest centreline height', `${formatNumber(g.z)} m, at ${formatNumber(g.downwind)} m downwind`, g.z);
  }
  add('edgeReachesGroundDownwind', 'Jet edge reaches the ground',
    metres(s.edgeReachesGroundDownwind) ? `${metres(s.edgeReachesGroundDownwind)} downwind` : 'not within the run', s.edgeReachesGroundDownwind);
  add('centrelineReachesGroundDownwind', 'Centreline reaches the ground',
    metres(s.centrelineReachesGroundDownwind) ? `${metres(s.centrelineReachesGroundDownwind)} downwind` : 'not within the run', s.centrelineReachesGroundDownwind);
  if (s.groundMaximum) {
    const g = s.groundMaximum;
    add('groundMaximum', 'Greatest ground-level concentration',
      `${formatNumber(g.value)} ${unit}, at ${formatNumber(g.location.downwind)} m downwind, ${formatNumber(g.location.crosswind)} m crosswind`, g.value);
  } else {
    add('groundMaximum', 'Greatest ground-level concentration', `0 ${unit} (the jet does not reach the ground above the stopping concentration)`, 0);
  }
  box.appendChild(table);

  if (s.levels.length) {
    const levels = document.createElement('table');
    levels.className = 'levels';
    const head = levels.createTHead().insertRow();
    for (const title of ['Level', `Value (${unit})`, 'Centreline falls below it', 'Farthest downwind extent', 'Greatest half-width', 'At the end of the run']) {
      const th = document.createElement('th');
      th.textContent = title;
      head.appendChild(th);
    }
    const body = levels.createTBody();
    s.levels.forEach((level, index) => {
      const row = body.insertRow();
      row.dataset.level = level.text;
      const name = cell(row, level.text);
      name.style.borderLeft = `6px solid ${LEVEL_COLOURS[index % LEVEL_COLOURS.length]}`;
      cell(row, formatNumber(level.value), level.value);
      cell(row, level.centrelineDownwindDistance === null ? 'never' :
        `${formatNumber(level.centrelineDownwindDistance)} m downwind (arc ${formatNumber(level.centrelineArcLength)} m)`, level.centrelineDownwindDistance);
      cell(row, metres(level.farthestDownwindExtent) || 'not reached', level.farthestDownwindExtent);
      cell(row, metres(level.greatestHalfWidth) || 'not reached', level.greatestHalfWidth);
      cell(row, level.exceededAtEndOfRun ? 'still exceeded' : 'below');
    });
    box.appendChild(levels);
  }
}

function levelEntries(answer) {
  return (answer.summary ? answer.summary.levels : []).map((l) => ({ model: l.model, label: `${l.text}` }));
}

function renderPlots(answer) {
  const ids = ['plot-side', 'plot-plan-height', 'plot-plan-ground', 'plot-concentration', 'plot-temperature', 'plot-velocity'];
  if (!answer.views) {
    for (const id of ids) $(id).textContent = answer.ok ? 'No output steps.' : 'No run.';
    $('plan-height').textContent = '';
    return;
  }
  const v = answer.views;
  const steps = answer.steps;
  const levels = levelEntries(answer);
  const stackHeight = Number(state.scenario.stackHeight);
  fieldPlot($('plot-side'), v.side, levels, {
    title: 'side view', xLabel: 'downwind distance (m)', yLabel: 'height (m)', height: 320,
    centreline: { xs: v.downwind, ys: steps.z },
    band: { xs: v.downwind, upper: steps.z.map((z, k) => z + steps.profileRadius[k]), lower: steps.z.map((z, k) => z - steps.profileRadius[k]) },
    stack: [0, stackHeight], stackHeight,
  });
  $('plan-height').textContent = `(${formatNumber(v.planHeight)} m above ground, the greatest centreline height)`;
  fieldPlot($('plot-plan-height'), v.planAtHeight, levels, {
    title: 'plan view at the plume height', xLabel: 'downwind distance (m)', yLabel: 'crosswind, left of the wind (m)',
    centreline: { xs: v.downwind, ys: v.crosswind }, stack: [0, 0],
  });
  fieldPlot($('plot-plan-ground'), v.planAtGround, levels, {
    title: 'plan view at ground level', xLabel: 'downwind distance (m)', yLabel: 'crosswind, left of the wind (m)',
    centreline: { xs: v.downwind, ys: v.crosswind }, stack: [0, 0],
  });
  const arc = steps.arclength;
  const unit = answer.unit.label;
  seriesPlot($('plot-concentration'), arc, answer.concentrationShown, {
    title: 'centreline concentration', xLabel: 'arc length (m)', yLabel: `concentration (${unit})`, logY: true, width: 420, height: 280,
    references: answer.summary.levels.map((l, i) => ({ value: l.value, colour: LEVEL_COLOURS[i % LEVEL_COLOURS.length], label: l.text })),
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

function scenarioFromAddress() {
  if (location.hash.length <= 1) return null;
  try {
    return decodeURIComponent(location.hash.slice(1));
  } catch (error) {
    showPageError(`the address does not hold a scenario: ${error.message}`);
    return null;
  }
}

function start(model) {
  state.model = model;
  state.schema = JSON.parse(model.describe());
  if (!state.schema.ok) { showPageError(state.schema.error.message); return; }
  for (const unit of state.schema.units) $('unit').appendChild(new Option(unit.label, unit.word));
  for (const name of Object.keys(OSTRELJET_EXAMPLES)) $('example').appendChild(new Option(name.replace(/_/g, ' '), name));
  buildForm();
  $('unit').addEventListener('change', () => runNow());
  $('levels').addEventListener('input', () => { clearTimeout(state.timer); state.timer = setTimeout(runNow, 300); });
  $('save-file').addEventListener('click', saveScenario);
  $('copy-link').addEventListener('click', () => {
    if (navigator.clipboard) navigator.clipboard.writeText(location.href).catch(() => {});
    $('status').textContent = 'link copied: the address holds this scenario';
  });
  $('example').addEventListener('change', () => {
    const name = $('example').value;
    if (name) loadScenarioText(OSTRELJET_EXAMPLES[name], name);
    $('example').value = '';
  });
  $('open-file').addEventListener('change', () => {
    const file = $('open-file').files[0];
    if (!file) return;
    file.text().then((text) => loadScenarioText(text, file.name));
    $('open-file').value = '';
  });
  window.addEventListener('hashchange', () => {
    const text = scenarioFromAddress();
    if (text !== null && text !== JSON.stringify(Object.assign(scenarioObject(), state.extra || {}))) loadScenarioText(text, 'the address');
  });
  const fromAddress = scenarioFromAddress();
  if (fromAddress === null || !loadScenarioText(fromAddress, 'the address')) {
    loadScenarioText(OSTRELJET_EXAMPLES.vertical_buoyant_vent, 'vertical_buoyant_vent');
  }
}

createOstreljet().then(start, (error) => showPageError(`the model could not start: ${error}`));
