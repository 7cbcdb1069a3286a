// The peer side of CanboatPeerTest: canboatjs decodes our frames and encodes
// its own, and says so in plain lines that the C++ test reads.
//
//   node decode.js decode FILE   candump -L lines in FILE, one stream
//       MSG pgn src dst prio frames payloadhex   a message canboatjs decoded
//       FIELD key json                           its fields, flattened
//       END
//       DROP text                                a frame sequence it refused
//       WARN text                                a PGN it could not convert
//   node decode.js encode FILE   FILE a JSON array of {pgn, prio, src, dst, fields}
//       DATA i payloadhex   the payload canboatjs encoded for message i
//       CANDUMP i line      its candump -L lines
//       RAW i line          its plain-text gateway lines
//   node decode.js fastpgns
//       FASTPGNS p1 p2 ...  the PGNs its database sends as fast packets
'use strict'

const fs = require('fs')
const path = require('path')

let canboat
let pgnDatabase
try {
  canboat = require(path.join(__dirname, 'node_modules', '@canboat', 'canboatjs'))
  pgnDatabase = require(path.join(__dirname, 'node_modules', '@canboat', 'ts-pgns'))
} catch (error) {
  process.stderr.write(`canboatjs is not installed (run tests/peer/install.sh): ${error.message}\n`)
  process.exit(3)
}

const out = []
const hex = (bytes) => Buffer.from(bytes).toString('hex').toUpperCase()

// Nested objects and lists as dotted keys: list.0.pgn.
function flatten(prefix, value, into) {
  if (value !== null && typeof value === 'object') {
    for (const key of Object.keys(value)) {
      flatten(prefix === '' ? key : `${prefix}.${key}`, value[key], into)
    }
  } else {
    into.push([prefix, value])
  }
}

function decode(file) {
  const parser = new canboat.FromPgn({
    includeRawData: true,
    includeInputData: true,
    returnNonMatches: true,
    resolveEnums: false
  })
  parser.on('warning', (pgn, text) => out.push(`WARN ${text}`))
  // Every error also reaches the callback below, which reports it.
  parser.on('error', () => {})
  const lines = fs.readFileSync(file, 'utf8').split('\n').filter((l) => l.trim() !== '')
  for (const line of lines) {
    parser.parseString(line, (error, msg) => {
      if (error) {
        out.push(`DROP ${String(error).replace(/\s+/g, ' ')}`)
        return
      }
      // The reassembled buffer can run past the payload into the padding of
      // the last frame: a fast packet's length is in its first frame.
      let raw = msg.rawData || []
      const frames = msg.input ? msg.input.length : 1
      if (frames > 1 || raw.length > 8) {
        const first = canboat.parseN2kString(msg.input[0])
        raw = raw.slice(0, first.data[1])
      }
      out.push(`MSG ${msg.pgn} ${msg.src} ${msg.dst} ${msg.prio} ${frames} ${hex(raw)}`)
      const fields = []
      flatten('', msg.fields || {}, fields)
      for (const [key, value] of fields) {
        out.push(`FIELD ${key} ${JSON.stringify(value)}`)
      }
      out.push('END')
    })
  }
}

function encode(file) {
  const messages = JSON.parse(fs.readFileSync(file, 'utf8'))
  messages.forEach((msg, i) => {
    const data = canboat.toPgn(msg)
    if (!data) {
      out.push(`DROP message ${i} did not encode`)
      return
    }
    out.push(`DATA ${i} ${hex(data)}`)
    const stamped = { ...msg, timestamp: '1700000000.000000', bus: 'can0' }
    for (const line of canboat.pgnToCandump3(stamped)) out.push(`CANDUMP ${i} ${line}`)
    for (const line of canboat.pgnToYdgwRawFormat(msg)) out.push(`RAW ${i} ${line}`)
  })
}

function fastPgns() {
  const fast = new Set()
  for (const definition of pgnDatabase.getAllPGNs()) {
    if (definition.Type === 'Fast' && !definition.Fallback) fast.add(definition.PGN)
  }
  out.push(`FASTPGNS ${[...fast].sort((a, b) => a - b).join(' ')}`)
}

const [mode, file] = process.argv.slice(2)
if (mode === 'decode' && file) {
  decode(file)
} else if (mode === 'encode' && file) {
  encode(file)
} else if (mode === 'fastpgns') {
  fastPgns()
} else {
  process.stderr.write('usage: node decode.js decode|encode FILE | fastpgns\n')
  process.exit(2)
}
process.stdout.write(out.map((l) => `${l}\n`).join(''))
