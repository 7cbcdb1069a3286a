// The serial side of the peer tests: canboatjs writes the frames a serial
// NMEA 2000 gateway reads, and reads the frames such a gateway sends, and
// says so in plain lines that the C++ test reads.
//
//   node compose_serial.js compose FILE   FILE a JSON array of {prio, pgn, dst, data}
//       FRAME i hex          the send frame (command 0x94) canboatjs writes for message i
//   node compose_serial.js parse FILE     FILE the bytes from a gateway, in hex
//       MSG prio pgn src dst datahex     each message canboatjs reads from them
'use strict'

const fs = require('fs')
const path = require('path')

let serial
try {
  serial = require(path.join(__dirname, 'node_modules', '@canboat', 'canboatjs', 'dist', 'actisense-serial'))
} catch (error) {
  process.stderr.write(`canboatjs is not installed (run tests/peer/install.sh): ${error.message}\n`)
  process.exit(3)
}

const N2K_MSG_SEND = 0x94
const hex = (bytes) => Buffer.from(bytes).toString('hex').toUpperCase()

function compose(file) {
  const out = []
  JSON.parse(fs.readFileSync(file, 'utf8')).forEach((msg, i) => {
    const data = Buffer.from(msg.data, 'hex')
    const pgn = Buffer.alloc(4)
    pgn.writeUInt32LE(msg.pgn)
    const payload = Buffer.concat([Buffer.from([msg.prio]), pgn.subarray(0, 3), Buffer.from([msg.dst, data.length]), data])
    out.push(`FRAME ${i} ${hex(serial.composeMessage(N2K_MSG_SEND, payload, payload.length))}`)
  })
  return out
}

// Its stream reader, fed the bytes as from a file: no serial port opened.
function parse(file) {
  const out = []
  const app = { listenerCount: () => 0, emit: () => {}, on: () => {} }
  const stream = new serial.ActisenseStream({ fromFile: true, plainText: true, app })
  stream.on('data', (line) => {
    // ISO time,prio,pgn,src,dst,len,bytes...
    const fields = String(line).split(',')
    const data = fields.slice(6).join('').toUpperCase()
    out.push(`MSG ${fields[1]} ${fields[2]} ${fields[3]} ${fields[4]} ${data}`)
  })
  stream.write(Buffer.from(fs.readFileSync(file, 'utf8').trim(), 'hex'))
  return new Promise((resolve) => setImmediate(() => resolve(out)))
}

async function main() {
  const [mode, file] = process.argv.slice(2)
  let out
  if (mode === 'compose' && file) {
    out = compose(file)
  } else if (mode === 'parse' && file) {
    out = await parse(file)
  } else {
    process.stderr.write('usage: node compose_serial.js compose|parse FILE\n')
    process.exit(2)
  }
  process.stdout.write(out.map((l) => `${l}\n`).join(''))
}

main()
