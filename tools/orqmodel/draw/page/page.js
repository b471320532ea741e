// The page around the scene: what the reader turns, switches and reads.

/** An element of the page. Texts are set as texts, never as markup. */
function make(tag, properties = {}, ...children) {
  const {style, ...rest} = properties;
  const element = Object.assign(document.createElement(tag), rest);
  Object.assign(element.style, style ?? {});
  element.append(...children);
  return element;
}

function section(title, ...children) {
  return make('section', {}, make('h2', {}, ...(Array.isArray(title) ? title : [title])), ...children);
}

function checkbox(text, isOn, use, ...before) {
  const box = make('input', {type: 'checkbox', checked: isOn});
  box.addEventListener('change', () => use(box.checked));
  return make('label', {}, box, ...before, make('span', {}, text));
}

class Page {
  constructor(viewer) {
    this.viewer = viewer;
    this.controls = document.getElementById('controls');
    this.extremeMembers = [];
    viewer.listeners.push(() => this.follow());
    this.build();
    this.listen();
    this.resize();
  }

  build() {
    const {viewer} = this;
    const {notes} = viewer.description;
    this.controls.replaceChildren(
        this.viewSection(), ...this.fieldSections(), ...this.timeSections(), ...this.moveSections(),
        this.cutSection(), this.groupSection(), ...this.setSections(), this.helpSection(),
        ...notes.map((note) => make('p', {className: 'quiet'}, note)));
    this.colourBar();
    this.heading();
    this.findExtremes();
  }

  heading() {
    const {description, field, moves, isDeformed, factor} = this.viewer;
    const {nodes, elements} = description.counts;
    const details = field ? [field.name, field.hasTimes ? this.viewer.timeText() : '']
                          : [`${nodes} nodes, ${elements} elements`];
    if (isDeformed) {
      details.push(`deformed by ${moves.name} x ${numberText(factor)}`);
      details.push(field?.hasTimes ? '' : this.viewer.timeText());
    }
    document.getElementById('heading').replaceChildren(
        make('b', {}, description.title), make('div', {}, details.filter((text) => text).join(', ')));
  }

  viewSection() {
    const {viewer} = this;
    const views = {iso: [1, -1, 1], '+x': [1, 0, 0], '-x': [-1, 0, 0], '+y': [0, 1, 0], '-y': [0, -1, 0],
                   '+z': [0, 0, 1], '-z': [0, 0, -1]};
    const buttons = Object.entries(views).map(([name, direction]) =>
        make('button', {onclick: () => viewer.lookFrom(direction)}, name));
    return section('View', make('div', {className: 'buttons'}, ...buttons,
                                make('button', {onclick: () => viewer.fit()}, 'fit')),
                   checkbox('edges of elements', viewer.showsEdges, (isOn) => {
                     viewer.showsEdges = isOn;
                     viewer.changed();
                   }));
  }

  fieldSections() {
    const {viewer} = this;
    if (viewer.fields.length === 0) {
      return [];
    }
    const choice = make('select', {id: 'field'}, make('option', {}, viewer.groups.title.toLowerCase()),
                        ...viewer.fields.map((field) => make('option', {}, field.name)));
    choice.selectedIndex = 1 + viewer.fields.indexOf(viewer.field);
    choice.addEventListener('change', () => {
      viewer.field = viewer.fields[choice.selectedIndex - 1] ?? null;
      viewer.update();
      this.build();
    });
    this.bar = make('div', {id: 'bar', style: {marginTop: '10px'}});
    return [section('Colours', choice, this.bar)];
  }

  colourBar() {
    const {field, description} = this.viewer;
    if (!this.bar) {
      return;
    }
    this.bar.replaceChildren();
    if (!field || field.low > field.high) {
      return;
    }
    const count = field.numBands(description.bands.length);
    const level = (band) => field.low * (1 - band / count) + field.high * (band / count);
    for (let band = count - 1; band >= 0; --band) {
      const colour = description.bands[count === 1 ? description.bands.length / 2 : band];
      this.bar.append(make('div', {className: 'band'}, make('i', {style: {background: colour}}),
                           make('b', {}, numberText(level(band + 1)))));
    }
    this.bar.append(make('div', {className: 'band'}, make('i', {style: {borderWidth: '0'}}),
                         make('b', {}, numberText(field.low))));
  }

  timeSections() {
    const {viewer} = this;
    const times = viewer.times();
    if (times.length === 0) {
      return [];
    }
    const slider = make('input', {type: 'range', id: 'time', min: 0, max: times.length - 1, step: 1});
    slider.value = times.indexOf(frameAt(times.map((time) => ({time})), viewer.time).time);
    this.showTime = (place) => {
      slider.value = Math.min(Math.max(place, 0), times.length - 1);
      viewer.time = times[slider.value];
      this.timeText.textContent = viewer.timeText();
      viewer.update();
      this.heading();
      this.findExtremes();
    };
    this.stepTime = (by) => {
      const place = Number(slider.value) + by;
      this.showTime(place >= times.length ? 0 : place < 0 ? times.length - 1 : place);
    };
    slider.addEventListener('input', () => this.showTime(Number(slider.value)));
    this.timeText = make('div', {className: 'quiet'}, viewer.timeText());
    const play = make('button', {onclick: () => this.play()}, 'play');
    return [section(['Time', times.length > 1 ? play : ''], ...(times.length > 1 ? [slider] : []), this.timeText)];
  }

  play() {
    if (this.playing) {
      clearInterval(this.playing);
      this.playing = null;
    } else if (this.stepTime) {
      this.playing = setInterval(() => this.stepTime(1), 250);
    }
  }

  moveSections() {
    const {viewer} = this;
    if (!viewer.moves) {
      return [];
    }
    const factor = make('input', {type: 'number', id: 'factor', step: 'any', value: Number(viewer.factor.toPrecision(4))});
    factor.addEventListener('input', () => {
      viewer.factor = Number(factor.value) || 0;
      viewer.changed();
      this.heading();
    });
    return [section('Deformation', checkbox(viewer.moves.name, viewer.isDeformed, (isOn) => this.deform(isOn)),
                    make('label', {}, 'scale', factor))];
  }

  deform(isOn) {
    this.viewer.isDeformed = isOn && this.viewer.moves !== null;
    this.viewer.update();
    this.build();
  }

  cutSection() {
    const {viewer} = this;
    const {cut} = viewer;
    const axis = make('select', {id: 'cut'}, ...['not at all', 'across x', 'across y', 'across z']
        .map((text) => make('option', {}, text)));
    axis.selectedIndex = cut.axis + 1;
    const slider = make('input', {type: 'range', min: 0, max: 1000, value: 1000 * cut.share, disabled: cut.axis < 0});
    const place = make('div', {className: 'quiet'});
    const show = () => {
      slider.disabled = cut.axis < 0;
      slider.value = 1000 * cut.share;
      place.textContent = cut.axis < 0 ? '' : `${'xyz'[cut.axis]} = ${numberText(viewer.cutPlace())}`;
      viewer.changed();
    };
    this.cutBy = (change) => {
      Object.assign(cut, change);
      axis.selectedIndex = cut.axis + 1;
      cut.share = Math.min(Math.max(cut.share, 0), 1);
      show();
    };
    axis.addEventListener('change', () => this.cutBy({axis: axis.selectedIndex - 1}));
    slider.addEventListener('input', () => this.cutBy({share: slider.value / 1000}));
    show();
    return section('Cut', axis, slider, place, checkbox('the other side', cut.isTurned, (isTurned) => this.cutBy({isTurned})));
  }

  listOf(entries, use) {
    return make('div', {className: 'list'}, ...entries.map((entry) => checkbox(entry.name, entry.isOn, (isOn) => {
      entry.isOn = isOn;
      use();
    }, make('i', {className: 'swatch', style: {background: entry.colour}}))));
  }

  switches(entries) {
    const all = (isOn) => () => {
      entries.forEach((entry) => { entry.isOn = isOn; });
      this.viewer.update();
      this.build();
    };
    return make('span', {className: 'buttons'}, make('button', {onclick: all(true)}, 'all'),
                make('button', {onclick: all(false)}, 'none'));
  }

  groupSection() {
    const {viewer} = this;
    const {title, list} = viewer.groups;
    const element = section([`${title} (${list.length})`, this.switches(list)], this.listOf(list, () => {
      viewer.update();
      this.findExtremes();
    }));
    element.id = 'groups';
    return element;
  }

  setSections() {
    const {viewer} = this;
    const sets = viewer.sets.filter((set) => !set.isEmpty);
    if (sets.length === 0) {
      return [];
    }
    const element = section([`Sets (${sets.length})`, this.switches(sets)], this.listOf(sets, () => {
      viewer.update();
      this.findExtremes();
    }), checkbox('hide the rest', viewer.hidesRest, (isOn) => {
      viewer.hidesRest = isOn;
      viewer.update();
    }));
    element.id = 'sets';
    return [element];
  }

  helpSection() {
    return section('Keys and mouse', make('div', {className: 'quiet', style: {whiteSpace: 'pre-line'}},
        'drag: turn; with shift or the right button: move; wheel: zoom; click: what is it\n' +
        'arrows: turn; + -: zoom; f: fit; e: edges; c: cut across x, y, z; [ ]: move the cut; x: its other side; ' +
        'd: deformed or not; , .: time before and after; space: play'));
  }

  findExtremes() {
    const {viewer} = this;
    const label = (member) => viewer.field.nodal ? `node ${viewer.mesh.nodeLabels[member]}`
                                                 : `element ${viewer.mesh.elementLabels[member]}`;
    const found = viewer.extremes();
    const marks = found.map(({value, member}, i) => make('div', {className: 'mark'}, make('span', {},
        `${i + 1 === found.length ? 'max' : 'min'} ${numberText(value)}, ${label(member)}`)));
    document.getElementById('marks').replaceChildren(...marks);
    this.extremeMarks = found.map((extreme, i) => ({...extreme, element: marks[i]}));
  }

  /** Moves what lies over the scene to its place. */
  follow() {
    const {viewer} = this;
    for (const {member, part, element} of this.extremeMarks ?? []) {
      const [left, top] = viewer.field?.nodal ? viewer.spotOfNode(member) : viewer.spotOfPart(part);
      Object.assign(element.style, {left: `${left}px`, top: `${top}px`});
    }
    const canvas = document.getElementById('axes');
    const context = canvas.getContext('2d');
    context.clearRect(0, 0, canvas.width, canvas.height);
    context.lineWidth = 4;
    context.font = '26px sans-serif';
    const [right, up, eye] = viewer.turn;
    const axes = [['x', '#c83228'], ['y', '#008250'], ['z', '#1e50c8']].map(([name, colour], i) =>
        ({name, colour, at: [right[i], up[i], eye[i]]}));
    for (const {name, colour, at} of axes.sort((a, b) => a.at[2] - b.at[2])) {
      Object.assign(context, {strokeStyle: colour, fillStyle: colour});
      context.beginPath();
      context.moveTo(96, 96);
      context.lineTo(96 + 60 * at[0], 96 - 60 * at[1]);
      context.stroke();
      context.fillText(name, 89 + 78 * at[0], 104 - 78 * at[1]);
    }
  }

  /** What a click found, in words. */
  tell(answer) {
    const lines = [];
    if (answer) {
      const of = (instance) => instance ? ` of ${instance}` : '';
      if (answer.element !== undefined) {
        lines.push(`element ${answer.element}${of(answer.elementInstance)} (${answer.shape}), block ${answer.block}`);
      }
      lines.push(`node ${answer.node}${of(answer.nodeInstance)} at ${answer.place.join(', ')}`);
      if (answer.field !== undefined) {
        lines.push(`${answer.field} of the ${answer.isNodal ? 'node' : 'element'}: ${numberText(answer.value)}`);
      }
      if (answer.sets.length > 0) {
        lines.push(`sets: ${answer.sets.join(', ')}`);
      }
    }
    document.getElementById('picked').textContent = lines.join('\n');
  }

  /** At a place of the canvas. */
  pick(x, y) {
    const answer = this.viewer.pick(x, y);
    this.tell(answer);
    return answer;
  }

  resize() {
    const {canvas} = this.viewer;
    const [width, height] = [canvas.clientWidth, canvas.clientHeight]
        .map((side) => Math.max(1, Math.round(side * devicePixelRatio)));
    if (canvas.width !== width || canvas.height !== height) {
      Object.assign(canvas, {width, height});
      // At once: a canvas of another size is empty.
      this.viewer.draw();
    }
  }

  listen() {
    const {canvas} = this.viewer;
    new ResizeObserver(() => this.resize()).observe(canvas);
    this.pointers = new Map();
    canvas.addEventListener('pointerdown', (event) => this.press(event));
    canvas.addEventListener('pointermove', (event) => this.drag(event));
    for (const end of ['pointerup', 'pointercancel']) {
      canvas.addEventListener(end, (event) => this.release(event));
    }
    canvas.addEventListener('contextmenu', (event) => event.preventDefault());
    canvas.addEventListener('wheel', (event) => {
      event.preventDefault();
      const box = canvas.getBoundingClientRect();
      this.viewer.zoom(Math.exp(-event.deltaY / 400), event.clientX - box.left, event.clientY - box.top);
    }, {passive: false});
    document.addEventListener('keydown', (event) => this.key(event));
  }

  press(event) {
    this.viewer.canvas.setPointerCapture?.(event.pointerId);
    this.viewer.canvas.focus();
    this.pointers.set(event.pointerId, {x: event.clientX, y: event.clientY});
    this.travelled = this.pointers.size > 1 ? Infinity : 0;
  }

  drag(event) {
    const before = this.pointers.get(event.pointerId);
    if (!before) {
      return;
    }
    const [right, down] = [event.clientX - before.x, event.clientY - before.y];
    this.travelled += Math.hypot(right, down);
    if (this.pointers.size === 2) {
      const other = [...this.pointers].find(([id]) => id !== event.pointerId)[1];
      const apart = (at) => Math.max(1, Math.hypot(at.x - other.x, at.y - other.y));
      this.viewer.zoom(apart({x: event.clientX, y: event.clientY}) / apart(before));
      this.viewer.pan(right / 2, -down / 2);
    } else if (event.shiftKey || (event.buttons & 6) !== 0) {
      this.viewer.pan(right, -down);
    } else {
      this.viewer.rotate(right / 150, down / 150);
    }
    Object.assign(before, {x: event.clientX, y: event.clientY});
  }

  release(event) {
    const isClick = this.pointers.delete(event.pointerId) && this.travelled < 4 && event.type === 'pointerup';
    if (isClick && event.button === 0) {
      const box = this.viewer.canvas.getBoundingClientRect();
      this.pick(event.clientX - box.left, event.clientY - box.top);
    }
  }

  key(event) {
    if (['INPUT', 'SELECT', 'BUTTON'].includes(event.target.tagName) || event.ctrlKey || event.altKey || event.metaKey) {
      return;
    }
    const {viewer} = this;
    const {cut} = viewer;
    const turn = 0.1;
    const actions = {
      ArrowLeft: () => viewer.rotate(-turn, 0), ArrowRight: () => viewer.rotate(turn, 0),
      ArrowUp: () => viewer.rotate(0, -turn), ArrowDown: () => viewer.rotate(0, turn),
      '+': () => viewer.zoom(1.2), '=': () => viewer.zoom(1.2), '-': () => viewer.zoom(1 / 1.2),
      f: () => viewer.fit(),
      e: () => { viewer.showsEdges = !viewer.showsEdges; this.build(); viewer.changed(); },
      c: () => this.cutBy({axis: cut.axis === 2 ? -1 : cut.axis + 1}),
      '[': () => this.cutBy({share: cut.share - 0.02}), ']': () => this.cutBy({share: cut.share + 0.02}),
      x: () => { this.cutBy({isTurned: !cut.isTurned}); this.build(); },
      d: () => this.deform(!viewer.isDeformed),
      ',': () => this.stepTime?.(-1), '.': () => this.stepTime?.(1), ' ': () => this.play(),
    };
    if (actions[event.key]) {
      event.preventDefault();
      actions[event.key]();
    }
  }
}

function tellFailure(error) {
  document.getElementById('failure').textContent = `The model cannot be shown: ${error?.message ?? error}`;
}

async function start() {
  if (typeof DecompressionStream === 'undefined') {
    throw new Error('This browser is too old (it lacks DecompressionStream).');
  }
  const textOf = (id) => document.getElementById(id).textContent;
  const description = JSON.parse(textOf('model'));
  const arrays = await arraysOf(description.arrays, bytesOf(textOf('arrays')));
  const viewer = new Viewer(document.getElementById('scene'), description, arrays);
  const page = new Page(viewer);
  window.orq.viewer = viewer;
  window.orq.page = page;
  // In pixels of the scene from its upper left corner.
  window.orq.pick = (x, y) => page.pick(x, y);
  viewer.draw();
}

window.addEventListener('error', (event) => tellFailure(event.error ?? event.message));
window.addEventListener('unhandledrejection', (event) => tellFailure(event.reason));
/** For scripts: `ready` answers when the model is shown, `pick(x, y)` what a click there finds. */
window.orq = {};
window.orq.ready = start();
