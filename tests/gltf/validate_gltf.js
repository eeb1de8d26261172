// Runs the glTF validator package (its folder the first argument) on each
// further argument, a .gltf or .glb, and exits 1 when any file has an error.
// External buffers and images are read from the file's own folder.
'use strict';
const fs = require('fs');
const path = require('path');
const validator = require(path.resolve(process.argv[2]));

async function validate(file) {
  const report = await validator.validateBytes(new Uint8Array(fs.readFileSync(file)), {
    uri: path.basename(file),
    externalResourceFunction: (uri) =>
      fs.promises.readFile(path.resolve(path.dirname(file), decodeURIComponent(uri))),
  });
  for (const m of report.issues.messages)
    if (m.severity === 0) console.error(`${file}: ${m.code} ${m.message} (${m.pointer || ''})`);
  console.log(`${file}: ${report.issues.numErrors} errors, ${report.issues.numWarnings} warnings`);
  return report.issues.numErrors === 0;
}

(async () => {
  let ok = true;
  for (const file of process.argv.slice(3)) ok = (await validate(file)) && ok;
  process.exit(ok ? 0 : 1);
})().catch((e) => {
  console.error(e);
  process.exit(1);
});
