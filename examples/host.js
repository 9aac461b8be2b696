// Records from a modem until Enter is pressed.
//
//   node host.js DEVICE CONFIG OUTPUT          node host.js COM7 wcdma-signalling.cfg drive.isf
//
// Calls the library through the package koffi: npm install koffi. corvane.dll lies beside this file,
// or CORVANE_DLL names it. Node.js has to be a 64-bit one.
'use strict';

const path = require('path');
const koffi = require('koffi');

const names = process.argv.slice(2);
const longest = [63, 259, 259];

if (names.length !== 3) {
  console.error('usage: host.js DEVICE CONFIG OUTPUT');
  process.exit(2);
}
// The library never cuts a name: one that is too long would end the process. And it takes the
// process's ANSI code page, while koffi passes UTF-8: the two agree on ASCII.
if (names.some((name, i) => name.length > longest[i] || !/^[\x20-\x7e]*$/.test(name))) {
  console.error('A name is too long, or not ASCII');
  process.exit(2);
}

const library = koffi.load(process.env.CORVANE_DLL || path.join(__dirname, 'corvane.dll'));
const CorvaneStart = library.func('CorvaneStart', 'bool', ['str', 'str', 'str']);
const CorvaneStop = library.func('CorvaneStop', 'void', []);

// Both calls block, and must not overlap: from one thread, not from workers, and not with .async.
if (!CorvaneStart(...names)) {
  console.error('The capture did not start');
  process.exit(1);
}

// A process that ends without CorvaneStop leaves a file without index and trailer. The tools still
// read it, as one that was not closed. "exit" comes for process.exit and uncaught errors too.
let running = true;
function end() {
  if (running) {
    running = false;
    CorvaneStop();
    process.stdin.destroy();
  }
}
process.on('exit', end);
process.on('SIGINT', end);  // Ctrl-C
process.on('SIGHUP', end);  // The console window was closed.

// The library prints its diagnostics on the process's standard output, past process.stdout. Whoever
// has redirected that to a pipe has to read the pipe all the while: once it is full, the capture
// waits.
console.error(`Capturing into ${names[2]}. Enter ends it.`);
process.stdin.once('data', end);  // The end of the input ends the process, and so the capture.
