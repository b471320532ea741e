// Draws the mesh, and answers which part is seen at a pixel.

const NO_PART = 0xffffffff;

/** Triangles, bars, dots and edges of the mesh as lists for the graphics processor. */
function listsOf(mesh) {
  const lists = {triangles: [], bars: [], dots: [], edges: []};
  for (let part = 0; part < mesh.numParts; ++part) {
    const ring = mesh.ringOf(part);
    const kind = mesh.kindOf(part);
    if (kind === DOT) {
      lists.dots.push(ring[0], part);
    } else if (kind === LINE) {
      for (let i = 0; i + 1 < ring.length; ++i) {
        lists.bars.push(ring[i], ring[i + 1], part);
      }
    } else {
      addTriangles(lists.triangles, ring, part);
      for (let i = 0; i < ring.length; ++i) {
        lists.edges.push(ring[i], part, ring[(i + 1) % ring.length], part);
      }
    }
  }
  return lists;
}

/** A fan; around middles of edges, which stand between the corners, a triangle at each corner first. */
function addTriangles(triangles, ring, part) {
  const n = ring.length;
  let fan = ring;
  if (n >= 6) {
    fan = ring.filter((_, i) => i % 2 === 1);
    for (let i = 0; i < n; i += 2) {
      triangles.push(ring[(i + n - 1) % n], part, ring[i], part, ring[i + 1], part);
    }
  }
  for (let i = 1; i + 1 < fan.length; ++i) {
    triangles.push(fan[0], part, fan[i], part, fan[i + 1], part);
  }
}

function rgbOf(hex) {
  return [1, 3, 5].map((i) => parseInt(hex.slice(i, i + 2), 16));
}

class Renderer {
  constructor(canvas, mesh, {bands, plain, ink}) {
    this.canvas = canvas;
    this.mesh = mesh;
    const gl = canvas.getContext('webgl2', {antialias: true, alpha: false});
    if (!gl) {
      throw new Error('This browser shows no three-dimensional graphics (WebGL 2) here.');
    }
    this.gl = gl;
    this.ink = rgbOf(ink).map((value) => value / 255);
    this.bands = bands.flatMap((band) => rgbOf(band).map((value) => value / 255));
    this.plain = rgbOf(plain).map((value) => value / 255);
    this.points = this.programOf(POINT_SHADER);
    this.lines = this.programOf(LINE_SHADER);
    this.textures = {};
    for (const [place, name] of ['places', 'moves', 'values', 'parts'].entries()) {
      this.textures[name] = {texture: gl.createTexture(), place};
    }
    this.setTexture('places', this.widened(mesh.unit), 4);
    this.setMoves(undefined);
    this.setValues(undefined);
    this.addLists();
    gl.enable(gl.DEPTH_TEST);
    gl.depthFunc(gl.LEQUAL);
  }

  addLists() {
    const lists = listsOf(this.mesh);
    this.lists = {};
    for (const [name, list] of Object.entries(lists)) {
      this.lists[name] = this.listOf(list, name === 'bars' ? 3 : 2);
    }
  }

  /** Numbers on the graphics processor, some to a vertex. */
  listOf(numbers, size) {
    const gl = this.gl;
    const list = {vertices: gl.createVertexArray(), buffer: gl.createBuffer(), count: numbers.length / size};
    gl.bindVertexArray(list.vertices);
    gl.bindBuffer(gl.ARRAY_BUFFER, list.buffer);
    gl.bufferData(gl.ARRAY_BUFFER, new Uint32Array(numbers), gl.STATIC_DRAW);
    gl.enableVertexAttribArray(0);
    gl.vertexAttribIPointer(0, size, gl.UNSIGNED_INT, 0, 0);
    gl.vertexAttribDivisor(0, size === 3 ? 1 : 0);
    gl.bindVertexArray(null);
    return list;
  }

  free(list) {
    this.gl.deleteVertexArray(list.vertices);
    this.gl.deleteBuffer(list.buffer);
  }

  programOf(vertexText) {
    const gl = this.gl;
    const program = gl.createProgram();
    for (const [type, text] of [[gl.VERTEX_SHADER, vertexText], [gl.FRAGMENT_SHADER, COLOUR_SHADER]]) {
      const shader = gl.createShader(type);
      gl.shaderSource(shader, text);
      gl.compileShader(shader);
      if (!gl.getShaderParameter(shader, gl.COMPILE_STATUS)) {
        throw new Error(gl.getShaderInfoLog(shader));
      }
      gl.attachShader(program, shader);
    }
    gl.linkProgram(program);
    if (!gl.getProgramParameter(program, gl.LINK_STATUS)) {
      throw new Error(gl.getProgramInfoLog(program));
    }
    return {program, uniforms: new Map()};
  }

  uniform(program, name) {
    if (!program.uniforms.has(name)) {
      program.uniforms.set(name, this.gl.getUniformLocation(program.program, name));
    }
    return program.uniforms.get(name);
  }

  widened(threes) {
    const fours = new Float32Array(threes.length / 3 * 4);
    for (let i = 0; i < threes.length / 3; ++i) {
      fours.set(threes.subarray(3 * i, 3 * i + 3), 4 * i);
    }
    return fours;
  }

  /** A table by number of node or part: of four or one floats, or of four bytes. */
  setTexture(name, table, size) {
    const gl = this.gl;
    const rows = Math.max(1, Math.ceil(table.length / size / TEXTURE_WIDTH));
    if (rows > gl.getParameter(gl.MAX_TEXTURE_SIZE)) {
      throw new Error(`This browser's graphics hold no table of ${table.length / size} entries.`);
    }
    const padded = new table.constructor(rows * TEXTURE_WIDTH * size);
    padded.set(table);
    const areBytes = table instanceof Uint8Array;
    const [inner, outer, type] = areBytes ? [gl.RGBA8, gl.RGBA, gl.UNSIGNED_BYTE]
        : size === 4 ? [gl.RGBA32F, gl.RGBA, gl.FLOAT] : [gl.R32F, gl.RED, gl.FLOAT];
    const {texture, place} = this.textures[name];
    gl.activeTexture(gl.TEXTURE0 + place);
    gl.bindTexture(gl.TEXTURE_2D, texture);
    gl.texImage2D(gl.TEXTURE_2D, 0, inner, TEXTURE_WIDTH, rows, 0, outer, type, padded);
    for (const filter of [gl.TEXTURE_MIN_FILTER, gl.TEXTURE_MAG_FILTER]) {
      gl.texParameteri(gl.TEXTURE_2D, filter, gl.NEAREST);
    }
  }

  /** [nodes][3], in the unit of the mesh's places; undefined for none. */
  setMoves(moves) {
    this.moves = moves;
    this.setTexture('moves', moves ? this.widened(moves) : new Float32Array(4 * this.mesh.numNodes), 4);
  }

  /** Of nodes, from 0 to 1, and -1 for none; undefined to colour parts. */
  setValues(values) {
    this.byValue = values !== undefined;
    this.setTexture('values', values ?? new Float32Array(this.mesh.numNodes), 1);
  }

  /** [parts][4]: red, green, blue, and 0 where hidden, 128 where that is the colour, 255 where values are. */
  setParts(parts) {
    this.setTexture('parts', parts, 4);
  }

  /** A place as it is drawn: in pixels of the canvas from its upper left corner, and towards the eye. */
  spotOf(view, place) {
    const turned = view.turn.map((axis) => axis[0] * place[0] + axis[1] * place[1] + axis[2] * place[2]);
    return [this.canvas.clientWidth / 2 + view.pan[0] + view.scale * turned[0],
            this.canvas.clientHeight / 2 - view.pan[1] - view.scale * turned[1], turned[2]];
  }

  /** Where a node is drawn, in the unit of the mesh's places. */
  placeOf(view, node) {
    const place = [];
    for (let axis = 0; axis < 3; ++axis) {
      place.push(this.mesh.unit[3 * node + axis] + (this.moves ? view.factor * this.moves[3 * node + axis] : 0));
    }
    return place;
  }

  use(program, view, settings) {
    const gl = this.gl;
    const at = (name) => this.uniform(program, name);
    const [width, height] = [this.canvas.clientWidth, this.canvas.clientHeight];
    gl.useProgram(program.program);
    for (const [name, {texture, place}] of Object.entries(this.textures)) {
      gl.activeTexture(gl.TEXTURE0 + place);
      gl.bindTexture(gl.TEXTURE_2D, texture);
      gl.uniform1i(at(`u_${name}`), place);
    }
    const [right, up, eye] = view.turn;
    gl.uniformMatrix3fv(at('u_turn'), false, [0, 1, 2].flatMap((i) => [right[i], up[i], eye[i]]));
    gl.uniform2f(at('u_scale'), 2 * view.scale / width, 2 * view.scale / height);
    gl.uniform2f(at('u_shift'), 2 * view.pan[0] / width, 2 * view.pan[1] / height);
    gl.uniform2f(at('u_pixel'), 2 / width, 2 / height);
    gl.uniform1f(at('u_depth'), view.depth);
    gl.uniform1f(at('u_factor'), this.moves ? view.factor : 0);
    gl.uniform4fv(at('u_cut'), view.cut ?? [0, 0, 0, 1]);
    gl.uniform1i(at('u_paint'), settings.paint);
    gl.uniform4fv(at('u_colour'), settings.colour ?? [0, 0, 0, 1]);
    gl.uniform1f(at('u_nearer'), (settings.nearer ?? 0) * view.nearness);
    gl.uniform1f(at('u_size'), settings.size ?? 1);
    gl.uniform1i(at('u_ofParts'), settings.ofParts ?? true);
    gl.uniform1i(at('u_isFacet'), settings.isFacet ?? false);
    gl.uniform1i(at('u_byValue'), this.byValue);
    // Little shade over the colours of values, so that they are those of the bar.
    gl.uniform1f(at('u_shade'), view.hasValues ? 0.3 : 1);
    gl.uniform1i(at('u_numBands'), view.numBands);
    gl.uniform3fv(at('u_bands'), this.bands);
    gl.uniform3fv(at('u_plain'), this.plain);
  }

  drawLines(list, view, settings) {
    const gl = this.gl;
    if (list.count > 0) {
      this.use(this.lines, view, settings);
      gl.bindVertexArray(list.vertices);
      gl.drawArraysInstanced(gl.TRIANGLES, 0, 6, list.count);
    }
  }

  drawVertices(list, mode, view, settings) {
    const gl = this.gl;
    if (list.count > 0) {
      this.use(this.points, view, {...settings, size: (settings.size ?? 1) * devicePixelRatio});
      gl.bindVertexArray(list.vertices);
      gl.drawArrays(mode, 0, list.count);
    }
  }

  drawParts(view, paint) {
    this.drawVertices(this.lists.triangles, this.gl.TRIANGLES, view, {paint, isFacet: true});
    this.drawLines(this.lists.bars, view, {paint, size: 3, nearer: 0.0002});
    this.drawVertices(this.lists.dots, this.gl.POINTS, view, {paint, size: 7, nearer: 0.0002});
  }

  /** `marks` are lists with a colour: edges and nodes of sets, and what was picked. */
  draw(view, marks) {
    const gl = this.gl;
    gl.bindFramebuffer(gl.FRAMEBUFFER, null);
    gl.viewport(0, 0, this.canvas.width, this.canvas.height);
    gl.clearColor(1, 1, 1, 1);
    gl.clear(gl.COLOR_BUFFER_BIT | gl.DEPTH_BUFFER_BIT);
    this.drawParts(view, 0);
    if (view.edgeStrength > 0) {
      gl.enable(gl.BLEND);
      gl.blendFunc(gl.SRC_ALPHA, gl.ONE_MINUS_SRC_ALPHA);
      this.drawVertices(this.lists.edges, gl.LINES, view,
                        {paint: 1, colour: [...this.ink, view.edgeStrength], nearer: 0.0004});
      gl.disable(gl.BLEND);
    }
    for (const {edges, dots, colour, size} of marks) {
      const settings = {paint: 1, colour: [...colour, 1], size, nearer: 0.0008, ofParts: false};
      if (edges) {
        this.drawLines(edges, view, settings);
      }
      if (dots) {
        this.drawVertices(dots, gl.POINTS, view, settings);
      }
    }
  }

  /** The part that is seen at a place, in pixels of the canvas; -1 for none. */
  partAt(view, x, y) {
    const gl = this.gl;
    const {width, height} = this.canvas;
    const target = gl.createFramebuffer();
    const colours = gl.createRenderbuffer();
    const depths = gl.createRenderbuffer();
    gl.bindFramebuffer(gl.FRAMEBUFFER, target);
    for (const [buffer, format, place] of [[colours, gl.RGBA8, gl.COLOR_ATTACHMENT0],
                                           [depths, gl.DEPTH_COMPONENT24, gl.DEPTH_ATTACHMENT]]) {
      gl.bindRenderbuffer(gl.RENDERBUFFER, buffer);
      gl.renderbufferStorage(gl.RENDERBUFFER, format, width, height);
      gl.framebufferRenderbuffer(gl.FRAMEBUFFER, place, gl.RENDERBUFFER, buffer);
    }
    const [column, row] = [Math.floor(x * width / this.canvas.clientWidth),
                           height - 1 - Math.floor(y * height / this.canvas.clientHeight)];
    gl.viewport(0, 0, width, height);
    gl.enable(gl.SCISSOR_TEST);
    gl.scissor(column, row, 1, 1);
    gl.clearColor(0, 0, 0, 0);
    gl.clear(gl.COLOR_BUFFER_BIT | gl.DEPTH_BUFFER_BIT);
    this.drawParts(view, 2);
    const pixel = new Uint8Array(4);
    gl.readPixels(column, row, 1, 1, gl.RGBA, gl.UNSIGNED_BYTE, pixel);
    gl.disable(gl.SCISSOR_TEST);
    gl.bindFramebuffer(gl.FRAMEBUFFER, null);
    gl.deleteFramebuffer(target);
    gl.deleteRenderbuffer(colours);
    gl.deleteRenderbuffer(depths);
    return pixel[0] + 256 * pixel[1] + 65536 * pixel[2] + 16777216 * pixel[3] - 1;
  }
}
