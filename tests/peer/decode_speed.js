// How fast canboatjs decodes CAN frames, for comparison with our codec's
// benchmark (bench/internal/CanCodecBench.cpp, BM_Decode/8 and BM_Decode/223)
// and our decoder's, which writes every field as JSON from the same frames
// (bench/internal/N2KDecodeBench.cpp, BM_DecodeFieldsFromFrames/8 and /223).
// Not part of any test run.
//
//   node decode_speed.js [MESSAGES]      default 20000 messages a stream
//
// Two streams of candump -L lines, made here:
//   single  127250 Vessel Heading, 8 bytes, one frame a message
//   fast    129029 GNSS Position Data with 45 reference stations, 223 bytes,
//           32 frames a message, the sequence counter turning
// Each is decoded twice with a fresh FromPgn (default options) after a warm-up:
//   lines   parseString on each line: line parsing, reassembly, field decoding
//   frames  parse on frames already split into identifier and bytes, as the
//           network-gateway client hands them on: reassembly, field decoding
// and reported as frames per second and messages per second.
'use strict'

const path = require('path')

let canboat
try {
  canboat = require(path.join(__dirname, 'node_modules', '@canboat', 'canboatjs'))
} catch (error) {
  process.stderr.write(`canboatjs is not installed (run tests/peer/install.sh): ${error.message}\n`)
  process.exit(3)
}

const messages = Number(process.argv[2] || 20000)
if (!Number.isInteger(messages) || messages <= 0) {
  process.stderr.write('usage: node decode_speed.js [MESSAGES]\n')
  process.exit(2)
}

const hex = (bytes) => Buffer.from(bytes).toString('hex').toUpperCase()
const canId = (prio, pgn, src) => ((prio << 26) | (pgn << 8) | src) >>> 0
const idText = (id) => id.toString(16).toUpperCase().padStart(8, '0')

// 127250: sid, heading 1.2345 rad, deviation n/a, variation -0.03 rad, magnetic.
const heading = Buffer.from('1239301500D4FEFD', 'hex')

// 129029: the 43 bytes of a fix, then 45 reference stations of 4 bytes.
function position() {
  const b = Buffer.alloc(223)
  let o = 0
  b.writeUInt8(7, o++)
  b.writeUInt16LE(19675, o); o += 2
  b.writeUInt32LE(360005000, o); o += 4
  b.writeBigInt64LE(521234567890000000n, o); o += 8
  b.writeBigInt64LE(-45000000000000000n, o); o += 8
  b.writeBigInt64LE(12500000n, o); o += 8
  b.writeUInt8(0x10, o++)
  b.writeUInt8(0xfc, o++)
  b.writeUInt8(9, o++)
  b.writeInt16LE(80, o); o += 2
  b.writeInt16LE(150, o); o += 2
  b.writeInt32LE(4700, o); o += 4
  b.writeUInt8(45, o++)
  for (let i = 0; i < 45; ++i) {
    b.writeUInt16LE((i << 4) | 1, o); o += 2 // type, station id
    b.writeUInt16LE(100 + i, o); o += 2 // age of corrections
  }
  if (o !== 223) throw new Error(`129029 is ${o} bytes`)
  return b
}

// The frames of a message: one, or a fast packet's first frame with the
// length and then 7 bytes a frame, the last padded with 0xFF.
function frames(data, sequence) {
  if (data.length <= 8) return [data]
  const out = []
  let offset = 0
  for (let index = 0; offset < data.length; ++index) {
    const frame = Buffer.alloc(8, 0xff)
    frame[0] = ((sequence & 7) << 5) | (index & 0x1f)
    if (index === 0) {
      frame[1] = data.length
      offset += data.copy(frame, 2, 0, 6)
    } else {
      offset += data.copy(frame, 1, offset, offset + 7)
    }
    out.push(frame)
  }
  return out
}

function stream(pgn, prio, src, data) {
  const id = canId(prio, pgn, src)
  const lines = []
  const parsed = []
  for (let m = 0; m < messages; ++m) {
    for (const frame of frames(data, m)) {
      lines.push(`(1700000000.${String(m % 1000000).padStart(6, '0')}) can0 ${idText(id)}#${hex(frame)}`)
      parsed.push({ pgn: { pgn, prio, src, dst: 255 }, length: frame.length, data: frame })
    }
  }
  return { lines, parsed }
}

function run(items, decode) {
  const parser = new canboat.FromPgn({})
  parser.on('warning', () => {})
  parser.on('error', () => {})
  let decoded = 0
  const start = process.hrtime.bigint()
  for (const item of items) {
    if (decode(parser, item)) ++decoded
  }
  const seconds = Number(process.hrtime.bigint() - start) / 1e9
  return { decoded, seconds }
}

function measure(name, pgn, prio, src, data) {
  const { lines, parsed } = stream(pgn, prio, src, data)
  const cases = [
    ['lines', lines, (parser, line) => parser.parseString(line)],
    ['frames', parsed, (parser, frame) => parser.parse(frame)]
  ]
  for (const [kind, items, decode] of cases) {
    run(items.slice(0, Math.min(items.length, 50000)), decode) // warm-up
    const { decoded, seconds } = run(items, decode)
    if (decoded !== messages) {
      process.stderr.write(`${name} ${kind}: ${decoded} of ${messages} messages decoded\n`)
      process.exitCode = 1
    }
    const fps = items.length / seconds
    console.log(
      `${name.padEnd(6)} ${kind.padEnd(6)} PGN ${pgn} ${String(data.length).padStart(3)} bytes: ` +
        `${items.length} frames in ${seconds.toFixed(3)} s, ` +
        `${(fps / 1e3).toFixed(1)} k frames/s, ${(decoded / seconds / 1e3).toFixed(2)} k messages/s`
    )
  }
}

console.log(`canboatjs ${require(path.join(__dirname, 'node_modules', '@canboat', 'canboatjs', 'package.json')).version}, node ${process.version}`)
measure('single', 127250, 2, 0x23, heading)
measure('fast', 129029, 3, 0x23, position())
