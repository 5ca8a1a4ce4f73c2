// Reads a PNG file into RGBA pixels with nothing but node's zlib, so an end-to-end test can look at the frames a
// served editor wrote the way any viewer would: 8-bit greyscale, RGB and RGBA, non-interlaced, every row filter.
import fs from 'node:fs';
import zlib from 'node:zlib';

const Signature = Buffer.from([0x89, 0x50, 0x4e, 0x47, 0x0d, 0x0a, 0x1a, 0x0a]);
const ChannelsOf = { 0: 1, 2: 3, 4: 2, 6: 4 };

function paeth(a, b, c) {
  const p = a + b - c;
  const pa = Math.abs(p - a);
  const pb = Math.abs(p - b);
  const pc = Math.abs(p - c);
  if (pa <= pb && pa <= pc) return a;
  return pb <= pc ? b : c;
}

/** {width, height, rgba: Buffer, at(x, y) -> [r, g, b, a]}; throws on anything it cannot read. */
export function readPng(file) {
  const bytes = fs.readFileSync(file);
  if (!bytes.subarray(0, 8).equals(Signature)) throw new Error(`${file}: not a PNG`);
  let offset = 8;
  let header;
  const data = [];
  while (offset < bytes.length) {
    const length = bytes.readUInt32BE(offset);
    const type = bytes.toString('latin1', offset + 4, offset + 8);
    const body = bytes.subarray(offset + 8, offset + 8 + length);
    offset += 12 + length;
    if (type === 'IHDR') {
      header = { width: body.readUInt32BE(0), height: body.readUInt32BE(4), depth: body[8], colour: body[9], interlace: body[12] };
    } else if (type === 'IDAT') {
      data.push(body);
    } else if (type === 'IEND') {
      break;
    }
  }
  if (!header) throw new Error(`${file}: no IHDR`);
  const channels = ChannelsOf[header.colour];
  if (header.depth !== 8 || !channels || header.interlace !== 0) {
    throw new Error(`${file}: unsupported PNG (depth ${header.depth}, colour type ${header.colour}, interlace ${header.interlace})`);
  }
  const raw = zlib.inflateSync(Buffer.concat(data));
  const { width, height } = header;
  const stride = width * channels;
  const pixels = Buffer.alloc(stride * height);
  for (let y = 0; y < height; y++) {
    const filter = raw[y * (stride + 1)];
    const line = raw.subarray(y * (stride + 1) + 1, (y + 1) * (stride + 1));
    const out = y * stride;
    for (let i = 0; i < stride; i++) {
      const left = i >= channels ? pixels[out + i - channels] : 0;
      const up = y > 0 ? pixels[out - stride + i] : 0;
      const upLeft = y > 0 && i >= channels ? pixels[out - stride + i - channels] : 0;
      let value = line[i];
      if (filter === 1) value += left;
      else if (filter === 2) value += up;
      else if (filter === 3) value += (left + up) >> 1;
      else if (filter === 4) value += paeth(left, up, upLeft);
      else if (filter !== 0) throw new Error(`${file}: row ${y} has filter ${filter}`);
      pixels[out + i] = value & 0xff;
    }
  }
  const rgba = Buffer.alloc(width * height * 4);
  for (let p = 0; p < width * height; p++) {
    const s = p * channels;
    const grey = channels <= 2;
    rgba[p * 4] = pixels[s];
    rgba[p * 4 + 1] = grey ? pixels[s] : pixels[s + 1];
    rgba[p * 4 + 2] = grey ? pixels[s] : pixels[s + 2];
    rgba[p * 4 + 3] = channels === 4 ? pixels[s + 3] : channels === 2 ? pixels[s + 1] : 255;
  }
  return {
    width,
    height,
    rgba,
    at(x, y) {
      const i = (y * width + x) * 4;
      return [rgba[i], rgba[i + 1], rgba[i + 2], rgba[i + 3]];
    },
  };
}

/** How many pixels differ in RGB between two images of one size. */
export function countDifferent(a, b) {
  let n = 0;
  for (let i = 0; i < a.rgba.length; i += 4) {
    if (a.rgba[i] !== b.rgba[i] || a.rgba[i + 1] !== b.rgba[i + 1] || a.rgba[i + 2] !== b.rgba[i + 2]) n++;
  }
  return n;
}

/** Whether every pixel has the first pixel's RGB. */
export function isUniform(image) {
  const { rgba } = image;
  for (let i = 4; i < rgba.length; i += 4) {
    if (rgba[i] !== rgba[0] || rgba[i + 1] !== rgba[1] || rgba[i + 2] !== rgba[2]) return false;
  }
  return true;
}
