// The peer side of CanboatPeer.ItsNetworkNodeAnswersOurRequestThroughOurGateway:
// canboatjs's N2kIpGateway, a TCP client of a network gateway that is a full
// NMEA 2000 node (address claim, answers to ISO requests), connected to our
// emulator. It says what it does in plain lines the C++ test may show:
//
//   node node_gateway.js PORT [SECONDS]
//       CONNECTED                 the gateway's socket is open
//       CLAIMED address           its address claim held, it now answers
//       HEARD pgn src dst         a message it decoded from the network
//
// It connects to 127.0.0.1 only, sends and reads plain-text gateway lines
// ("hh:mm:ss.ddd R 09F80123 00 ..." in, "09F80123 00 ..." out), and exits by
// itself after SECONDS (default 60) should nobody stop it.
'use strict'

const path = require('path')
const { EventEmitter } = require('events')

let canboat
try {
  canboat = require(path.join(__dirname, 'node_modules', '@canboat', 'canboatjs'))
} catch (error) {
  process.stderr.write(`canboatjs is not installed (run tests/peer/install.sh): ${error.message}\n`)
  process.exit(3)
}

const [portText, secondsText] = process.argv.slice(2)
const port = Number(portText)
const seconds = secondsText === undefined ? 60 : Number(secondsText)
if (!Number.isInteger(port) || port <= 0 || port > 65535 || !(seconds > 0)) {
  process.stderr.write('usage: node node_gateway.js PORT [SECONDS]\n')
  process.exit(2)
}

const say = (line) => process.stdout.write(`${line}\n`)

// The host application the node reports to: without one the gateway is a
// plain line reader, not a node. Its device listens for decoded messages on
// N2KAnalyzerOut; nothing is persisted (no config path).
const app = new EventEmitter()
app.setProviderStatus = () => {}
app.setProviderError = () => {}

const gateway = new canboat.N2kIpGateway({
  app,
  providerId: 'ferrow-peer',
  host: '127.0.0.1',
  port,
  format: 'ydraw',
  reconnectIntervalMs: 200,
  uniqueNumber: 1234567,
  preferredAddress: 100,
  addressClaimDetectionTime: 300
})

const parser = new canboat.FromPgn({ resolveEnums: false })
parser.on('warning', () => {})
parser.on('error', () => {})
gateway.on('data', (frame) => {
  const msg = parser.parse(frame)
  if (!msg) return
  if (!gateway.candevice || msg.src !== gateway.candevice.address) {
    say(`HEARD ${msg.pgn} ${msg.src} ${msg.dst}`)
  }
  app.emit('N2KAnalyzerOut', msg)
})

let connected = false
app.on('nmea2000OutAvailable', () => {
  // Emitted once on connecting and again when the device's claim holds.
  if (!connected) {
    connected = true
    say('CONNECTED')
  } else if (gateway.candevice && gateway.candevice.cansend) {
    say(`CLAIMED ${gateway.candevice.address}`)
  }
})

const stop = () => {
  gateway.end()
  process.exit(0)
}
process.on('SIGTERM', stop)
process.on('SIGINT', stop)
setTimeout(stop, seconds * 1000).unref()
// Keep running while the socket reconnects.
setInterval(() => {}, 1000)
