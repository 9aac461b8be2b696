// A stub of the package koffi, as far as the example uses it: writes what it is asked for, one JSON
// array a line, to the file that CORVANE_STAND_IN_LOG names. Only the device "refuse" does not start;
// with the device "fail" the host fails while it captures. The call without a result, which is the
// one that stops, is written with how much of the host's input had been read by then.
'use strict';

const fs = require('fs');

function log(...fields) {
  fs.appendFileSync(process.env.CORVANE_STAND_IN_LOG, JSON.stringify(fields) + '\n');
}

exports.load = (path) => {
  log('load', path);
  return {
    func(name, result, parameters) {
      log('func', name, result, parameters);
      return (...given) => {
        if (result === 'void') {
          log('call', name, process.stdin.bytesRead);
          return undefined;
        }
        log('call', name, ...given);
        if (given[0] === 'fail') {
          setImmediate(() => {
            throw new Error('the host failed');
          });
        }
        return given[0] !== 'refuse';
      };
    },
  };
};
