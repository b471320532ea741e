// What is shown of the model and how: the state of the page, and what follows from it.

const HIDDEN = 0, COLOURED = 128, VALUED = 255;

function normalized(vector) {
  const length = Math.hypot(...vector);
  return vector.map((value) => value / length);
}

function cross(a, b) {
  return [a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]];
}

function dot(a, b) {
  return a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
}

/** A number with as many digits as are kept of it. */
function numberText(value) {
  return value === undefined ? 'no value' : String(Number(value.toPrecision(5)));
}

/** A coordinate with the decimals that are kept of it. */
function placeText(value, step) {
  const decimals = step > 0 ? Math.min(100, Math.max(0, Math.ceil(-Math.log10(step)) - 1)) : 0;
  return String(Number(step > 0 ? value.toFixed(decimals) : value.toPrecision(8)));
}

class Viewer {
  constructor(canvas, description, arrays) {
    this.canvas = canvas;
    this.description = description;
    this.arrays = arrays;
    this.mesh = new Mesh(description, arrays);
    this.renderer = new Renderer(canvas, this.mesh, description);
    this.fields = description.fields.map((field) => new Field(field, arrays));
    this.groups = this.groupsOf(description, arrays);
    this.sets = description.sets.map((set) => this.shownSet(set, arrays));
    this.moves = description.moves;
    this.field = this.fields[0] ?? null;
    this.time = Math.max(0, ...this.times());
    this.isDeformed = this.moves !== null;
    this.factor = this.moves?.factor ?? 0;
    this.cut = {axis: -1, share: 0.5, isTurned: false};
    this.showsEdges = description.edges;
    this.hidesRest = false;
    this.picked = null;
    this.listeners = [];
    this.turnTo(description.axes);
    this.update();
    this.fit();
  }

  /** What is switched on and off: the blocks, unless the page is by section or material. */
  groupsOf({blocks, groups}, arrays) {
    const list = groups ? groups.list : blocks;
    const ofPart = groups ? arrays[groups.ofPart] : this.mesh.blocks;
    const counts = new Array(list.length + 1).fill(0);
    ofPart.forEach((group) => { ++counts[group]; });
    return {
      title: groups ? groups.title : 'Blocks',
      ofPart,
      list: list.map((group, i) => ({...group, rgb: rgbOf(group.colour), isOn: true, place: i}))
          .filter((group) => counts[group.place + 1] > 0),
    };
  }

  shownSet(set, arrays) {
    const rgb = rgbOf(set.colour).map((value) => value / 255);
    const shown = {...set, rgb, isOn: this.description.showsSets, marks: null, isEmpty: true};
    shown.parts = set.parts === undefined ? [] : arrays[set.parts];
    const edges = set.edges === undefined ? [] : arrays[set.edges];
    const nodes = set.nodes === undefined ? [] : arrays[set.nodes];
    shown.isEmpty = shown.parts.length + edges.length + nodes.length === 0;
    shown.hasNode = (node) => nodes.includes(node);
    if (edges.length + nodes.length > 0) {
      const lines = [];
      for (let i = 0; i < edges.length; i += 2) {
        lines.push(edges[i], edges[i + 1], NO_PART);
      }
      shown.marks = {edges: this.renderer.listOf(lines, 3),
                     dots: this.renderer.listOf([...nodes].flatMap((node) => [node, NO_PART]), 2),
                     colour: rgb, size: 6};
    }
    return shown;
  }

  /** All that the field and the deformation have. */
  times() {
    const frames = [...(this.field?.frames ?? []), ...(this.moves?.frames ?? [])];
    return [...new Set(frames.map((frame) => frame.time))].filter((time) => time > 0).sort((a, b) => a - b);
  }

  timeText() {
    const own = [this.field, this.moves].filter((one) => one?.frames.some((frame) => frame.time > 0));
    return own.length > 0 ? frameAt(own[0].frames, this.time).text : '';
  }

  frame() { return this.field ? frameAt(this.field.frames, this.time) : null; }

  // From the state to the tables of the renderer.

  update() {
    this.updateMoves();
    this.updateValues();
    this.updateParts();
    this.changed();
  }

  updateMoves() {
    if (!this.isDeformed) {
      this.renderer.setMoves(undefined);
      return;
    }
    const {step, arrays} = frameAt(this.moves.frames, this.time);
    const unit = new Float32Array(3 * this.mesh.numNodes);
    arrays.forEach((array, axis) => this.arrays[array].forEach((number, node) => {
      unit[3 * node + axis] = (number - MOVE_STEPS) * step / this.mesh.radius;
    }));
    this.renderer.setMoves(unit);
  }

  updateValues() {
    if (!this.field?.nodal) {
      this.renderer.setValues(undefined);
      return;
    }
    const shares = new Float32Array(this.mesh.numNodes);
    for (let node = 0; node < shares.length; ++node) {
      shares[node] = this.field.shareOf(this.field.valueAt(this.frame(), node));
    }
    this.renderer.setValues(shares);
  }

  bandColour(value) {
    const share = this.field.shareOf(value);
    if (share < 0) {
      return rgbOf(this.description.plain);
    }
    const {bands} = this.description;
    const count = this.field.numBands(bands.length);
    return rgbOf(count === 1 ? bands[bands.length / 2]
                             : bands[Math.min(count - 1, Math.floor(share * count))]);
  }

  /** For each part the last set that is switched on and has it; null when sets pick out nothing. */
  setOfParts() {
    const on = this.sets.filter((set) => set.isOn);
    if (on.length === 0) {
      return null;
    }
    const ofPart = new Array(this.mesh.numParts);
    for (const set of on) {
      for (const part of inRuns(set.parts)) {
        ofPart[part] = set;
      }
    }
    return ofPart;
  }

  updateParts() {
    const table = new Uint8Array(4 * this.mesh.numParts);
    const plain = rgbOf(this.description.plain);
    const sets = this.setOfParts();
    const groups = new Map(this.groups.list.map((group) => [group.place, group]));
    const frame = this.frame();
    this.isHidden = new Uint8Array(this.mesh.numParts);
    for (let part = 0; part < this.mesh.numParts; ++part) {
      const group = groups.get(this.groups.ofPart[part] - 1);
      const set = sets?.[part];
      let colour = sets ? set?.rgb.map((value) => 255 * value) ?? plain : group?.rgb ?? plain;
      let kind = COLOURED;
      // With sets, values are those of what is in them.
      if (this.field && (!sets || set)) {
        kind = this.field.nodal ? VALUED : COLOURED;
        colour = this.field.nodal ? plain : this.bandColour(this.field.valueAt(frame, part));
      } else if (this.field) {
        colour = plain;
      }
      this.isHidden[part] = (group && !group.isOn) || (sets && !set && this.hidesRest) ? 1 : 0;
      table.set([...colour, this.isHidden[part] ? HIDDEN : kind], 4 * part);
    }
    this.renderer.setParts(table);
  }

  // The view.

  turnTo(axes) {
    this.turn = [axes.map((axis) => axis[0]), axes.map((axis) => -axis[1]), axes.map((axis) => axis[2])];
  }

  /** Looks from a direction, z up, or y up from along z. */
  lookFrom(direction) {
    const eye = normalized(direction);
    const right = normalized(cross(Math.abs(eye[2]) > 0.999999 ? [0, 1, 0] : [0, 0, 1], eye));
    this.turn = [right, cross(eye, right), eye];
    this.fit();
  }

  /** About the axes of the screen, in radians. */
  rotate(aboutUp, aboutRight) {
    const [right, up, eye] = this.turn;
    const mix = (a, s, b, t) => a.map((value, i) => s * value + t * b[i]);
    const turnedRight = mix(right, Math.cos(aboutUp), eye, -Math.sin(aboutUp));
    const turnedEye = mix(eye, Math.cos(aboutUp), right, Math.sin(aboutUp));
    const newUp = normalized(mix(up, Math.cos(aboutRight), turnedEye, Math.sin(aboutRight)));
    const newEye = normalized(mix(turnedEye, Math.cos(aboutRight), up, -Math.sin(aboutRight)));
    this.turn = [normalized(turnedRight), newUp, newEye];
    this.changed();
  }

  pan(right, up) {
    this.panned = [this.panned[0] + right, this.panned[1] + up];
    this.changed();
  }

  /** About a place of the canvas, which stays where it is. */
  zoom(by, x = this.canvas.clientWidth / 2, y = this.canvas.clientHeight / 2) {
    const scale = Math.min(Math.max(this.scale * by, 1e-2), 1e7);
    const from = [x - this.canvas.clientWidth / 2, this.canvas.clientHeight / 2 - y];
    this.panned = this.panned.map((value, i) => from[i] + (value - from[i]) * scale / this.scale);
    this.scale = scale;
    this.changed();
  }

  fit() {
    const low = [Infinity, Infinity], high = [-Infinity, -Infinity];
    const {unit} = this.mesh;
    for (let node = 0; node < this.mesh.numNodes; ++node) {
      for (const axis of [0, 1]) {
        const at = dot(this.turn[axis], unit.subarray(3 * node, 3 * node + 3));
        low[axis] = Math.min(low[axis], at);
        high[axis] = Math.max(high[axis], at);
      }
    }
    const room = [Math.max(50, this.canvas.clientWidth - 60), Math.max(50, this.canvas.clientHeight - 130)];
    this.scale = Math.min(...room.map((side, i) => side / Math.max(high[i] - low[i], 1e-6)));
    this.fitScale = this.scale;
    this.panned = [0, 1].map((i) => -this.scale * (low[i] + high[i]) / 2);
    this.changed();
  }

  /** The plane in the unit of the mesh: [normal, bound], beyond which nothing is drawn. */
  cutPlane() {
    const {axis, share, isTurned} = this.cut;
    if (axis < 0) {
      return null;
    }
    const normal = [0, 1, 2].map((i) => (i === axis ? 1 : 0));
    const {low, high, middle, radius} = this.mesh;
    const bound = (low[axis] + share * (high[axis] - low[axis]) - middle[axis]) / radius;
    return isTurned ? [...normal.map((value) => -value), -bound] : [...normal, bound];
  }

  cutPlace() {
    const {axis, share} = this.cut;
    return this.mesh.low[axis] + share * (this.mesh.high[axis] - this.mesh.low[axis]);
  }

  view() {
    const edge = this.meanEdge() * this.scale;
    const reach = this.isDeformed ? Math.abs(this.factor) * this.largestMove() : 0;
    return {
      turn: this.turn, scale: this.scale, pan: this.panned, factor: this.factor, cut: this.cutPlane(),
      depth: 1.05 + reach,
      nearness: Math.max(0.005, Math.min(1, this.fitScale / this.scale)),
      hasValues: this.field !== null,
      numBands: this.field ? this.field.numBands(this.description.bands.length) : 1,
      // Edges that come close to each other would paint all in their colour.
      edgeStrength: this.showsEdges ? 0.6 * Math.min(1, Math.max(0, (edge - 2) / 6)) : 0,
    };
  }

  meanEdge() {
    if (this.meanEdgeLength === undefined) {
      let sum = 0, count = 0;
      const {unit, numParts} = this.mesh;
      const stride = Math.max(1, Math.floor(numParts / 1000));
      for (let part = 0; part < numParts; part += stride) {
        const [a, b] = this.mesh.ringOf(part);
        if (b !== undefined) {
          sum += Math.hypot(...[0, 1, 2].map((i) => unit[3 * a + i] - unit[3 * b + i]));
          ++count;
        }
      }
      this.meanEdgeLength = count > 0 ? sum / count : 0;
    }
    return this.meanEdgeLength;
  }

  largestMove() {
    return Math.max(...this.moves.frames.map((frame) => frame.step)) * MOVE_STEPS * Math.sqrt(3) / this.mesh.radius;
  }

  // Pictures.

  changed() {
    if (!this.isDue) {
      this.isDue = true;
      requestAnimationFrame(() => this.draw());
    }
  }

  draw() {
    this.isDue = false;
    const marks = this.sets.filter((set) => set.isOn && set.marks).map((set) => set.marks);
    if (this.picked?.mark) {
      marks.push(this.picked.mark);
    }
    this.renderer.draw(this.view(), marks);
    this.listeners.forEach((listener) => listener());
  }

  /** The place of a node on the canvas. */
  spotOfNode(node) {
    const view = this.view();
    return this.renderer.spotOf(view, this.renderer.placeOf(view, node));
  }

  spotOfPart(part) {
    const spots = [...this.mesh.ringOf(part)].map((node) => this.spotOfNode(node));
    return [0, 1, 2].map((i) => spots.reduce((sum, spot) => sum + spot[i], 0) / spots.length);
  }

  // Answers.

  /** What is seen at a place of the canvas, in pixels from its upper left corner; null for nothing. */
  pick(x, y) {
    this.clearPick();
    const part = this.renderer.partAt(this.view(), x, y);
    if (part < 0 || part >= this.mesh.numParts) {
      this.changed();
      return null;
    }
    const ring = this.mesh.ringOf(part);
    const distances = [...ring].map((node) => {
      const [left, top] = this.spotOfNode(node);
      return Math.hypot(left - x, top - y);
    });
    const node = ring[distances.indexOf(Math.min(...distances))];
    this.picked = this.answerOf(part, node);
    this.picked.mark = this.markOf(ring, node);
    this.changed();
    const {mark, ...answer} = this.picked;
    return answer;
  }

  answerOf(part, node) {
    const {description, mesh, arrays} = this;
    const {instances} = description;
    const named = (array, member) => instances ? instances.names[arrays[array][member] - 1] : undefined;
    const answer = {
      block: description.blocks[mesh.blocks[part] - 1]?.name,
      shape: description.blocks[mesh.blocks[part] - 1]?.shape,
      element: mesh.elementLabels[part] || undefined,
      node: mesh.nodeLabels[node],
      elementInstance: instances ? named(instances.ofPart, part) : undefined,
      nodeInstance: instances ? named(instances.ofNode, node) : undefined,
      place: [0, 1, 2].map((i) => placeText(mesh.middle[i] + mesh.radius * mesh.unit[3 * node + i],
                                            description.nodes.steps[i])),
      sets: this.sets.filter((set) => set.hasNode(node) || isInRuns(set.parts, part))
          .map((set) => set.name),
    };
    if (this.field) {
      answer.field = this.field.name;
      answer.isNodal = this.field.nodal;
      answer.value = this.field.valueAt(this.frame(), this.field.nodal ? node : part);
    }
    return answer;
  }

  markOf(ring, node) {
    const lines = [];
    for (let i = 0; i + (ring.length > 2 ? 0 : 1) < ring.length; ++i) {
      lines.push(ring[i], ring[(i + 1) % ring.length], NO_PART);
    }
    return {edges: this.renderer.listOf(lines, 3), dots: this.renderer.listOf([node, NO_PART], 2),
            colour: [0.83, 0, 0.5], size: 4};
  }

  clearPick() {
    if (this.picked) {
      this.renderer.free(this.picked.mark.edges);
      this.renderer.free(this.picked.mark.dots);
    }
    this.picked = null;
  }

  /** The lowest and the highest value that is not hidden, with the node or part that has it. */
  extremes() {
    if (!this.field) {
      return [];
    }
    const frame = this.frame();
    let lowest, highest;
    const take = (member, part) => {
      const value = this.field.valueAt(frame, member);
      if (value === undefined) {
        return;
      }
      lowest = lowest === undefined || value < lowest.value ? {value, member, part} : lowest;
      highest = highest === undefined || value > highest.value ? {value, member, part} : highest;
    };
    for (let part = 0; part < this.mesh.numParts; ++part) {
      if (this.isHidden[part]) {
        continue;
      }
      if (this.field.nodal) {
        this.mesh.ringOf(part).forEach((node) => take(node, part));
      } else {
        take(part, part);
      }
    }
    return lowest === undefined ? [] : lowest.value === highest.value ? [highest] : [lowest, highest];
  }
}
