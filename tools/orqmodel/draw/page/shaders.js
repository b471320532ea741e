// Programs of the graphics processor. Nodes and parts are looked up in textures by their numbers, so that a
// change of time, colours or deformation moves one texture and no vertices.

const TEXTURE_WIDTH = 1024;

const COMMON = `#version 300 es
precision highp float;
precision highp int;
precision highp sampler2D;
`;

const LOOK_UP = `${COMMON}
uniform sampler2D u_places;
uniform sampler2D u_moves;
uniform sampler2D u_values;
uniform sampler2D u_parts;
uniform mat3 u_turn;
uniform vec2 u_scale;
uniform vec2 u_shift;
uniform float u_depth;
uniform float u_factor;
uniform float u_nearer;
uniform bool u_ofParts;
out vec3 v_at;
out vec3 v_view;
out vec2 v_value;  // and whether there is one
flat out vec4 v_part;
flat out uint v_number;

ivec2 cell(uint number) {
  return ivec2(int(number % ${TEXTURE_WIDTH}u), int(number / ${TEXTURE_WIDTH}u));
}

vec3 placeOf(uint node) {
  return texelFetch(u_places, cell(node), 0).xyz + u_factor * texelFetch(u_moves, cell(node), 0).xyz;
}

vec4 projected(vec3 at) {
  v_at = at;
  v_view = u_turn * at;
  return vec4(v_view.xy * u_scale + u_shift, -v_view.z / u_depth - u_nearer, 1.0);
}

void look(uint node, uint part) {
  float value = texelFetch(u_values, cell(node), 0).x;
  v_value = value < -0.5 ? vec2(0.0) : vec2(value, 1.0);
  v_number = part;
  v_part = u_ofParts ? texelFetch(u_parts, cell(part), 0) : vec4(0.0, 0.0, 0.0, 1.0);
}
`;

const POINT_SHADER = `${LOOK_UP}
layout(location = 0) in uvec2 a_vertex;  // node, part
uniform float u_size;

void main() {
  look(a_vertex.x, a_vertex.y);
  gl_PointSize = u_size;
  // Hidden parts go out of sight as a whole.
  gl_Position = v_part.a == 0.0 ? vec4(2.0, 2.0, 2.0, 1.0) : projected(placeOf(a_vertex.x));
}
`;

// Lines of any width: six vertices each, moved to the sides.
const LINE_SHADER = `${LOOK_UP}
layout(location = 0) in uvec3 a_line;  // two nodes, part
uniform vec2 u_pixel;
uniform float u_size;

void main() {
  int corner = gl_VertexID % 6;
  bool isEnd = corner == 1 || corner == 2 || corner == 4;
  float side = corner == 0 || corner == 1 || corner == 3 ? 1.0 : -1.0;
  vec4 other = projected(placeOf(isEnd ? a_line.x : a_line.y));
  vec4 own = projected(placeOf(isEnd ? a_line.y : a_line.x));
  look(isEnd ? a_line.y : a_line.x, a_line.z);
  vec2 along = (isEnd ? own.xy - other.xy : other.xy - own.xy) / u_pixel;
  vec2 across = length(along) > 0.0 ? normalize(vec2(-along.y, along.x)) : vec2(0.0);
  own.xy += side * 0.5 * u_size * across * u_pixel;
  gl_Position = v_part.a == 0.0 ? vec4(2.0, 2.0, 2.0, 1.0) : own;
}
`;

const COLOUR_SHADER = `${COMMON}
in vec3 v_at;
in vec3 v_view;
in vec2 v_value;
flat in vec4 v_part;
flat in uint v_number;
uniform vec4 u_cut;       // what lies beyond is left out
uniform vec4 u_colour;    // of marks and edges
uniform int u_paint;      // 0: parts, 1: one colour, 2: numbers of parts
uniform bool u_isFacet;
uniform bool u_byValue;
uniform float u_shade;
uniform int u_numBands;
uniform vec3 u_bands[10];
uniform vec3 u_plain;
out vec4 o_colour;

// As in pictures: 1 for what faces the eye, a little more for what faces the lamp at its upper left.
float brightness() {
  vec3 normal = normalize(cross(dFdx(v_view), dFdy(v_view)));
  float light = dot(normal.z < 0.0 ? -normal : normal, vec3(-0.2, 0.4, 0.9)) / 0.9;
  return 0.6 + 0.4 * max(light, 0.0);
}

void main() {
  if (dot(u_cut.xyz, v_at) > u_cut.w) {
    discard;
  }
  if (u_paint == 2) {
    uint number = v_number + 1u;
    o_colour = vec4(float(number & 255u), float((number >> 8u) & 255u), float((number >> 16u) & 255u),
                    float(number >> 24u)) / 255.0;
    return;
  }
  if (u_paint == 1) {
    o_colour = u_colour;
    return;
  }
  vec3 colour = v_part.rgb;
  // Parts that take values say so; a facet of which one node has none takes none.
  if (u_byValue && v_part.a > 0.75) {
    int band = clamp(int(floor(v_value.x * float(u_numBands))), 0, u_numBands - 1);
    colour = v_value.y > 0.999 ? u_bands[u_numBands == 1 ? 5 : band] : u_plain;
  }
  if (u_isFacet) {
    float light = 1.0 + u_shade * (brightness() - 1.0);
    colour = light <= 1.0 ? colour * light : mix(colour, vec3(1.0), light - 1.0);
  }
  o_colour = vec4(colour, 1.0);
}
`;
