// How long validating a health report takes: ours, and ajv's compiled schema after JSON.parse, on
// the same documents in the same run. Rounds alternate; the best slice of each side counts, which is the
// one that no other program disturbed.
// Usage: node compare.mjs BENCH_HEALTH
import Ajv from "ajv";
import { execFileSync } from "node:child_process";
import { mkdtempSync, readFileSync, rmSync } from "node:fs";
import { tmpdir } from "node:os";
import { join } from "node:path";
import { reportSchema } from "./schema.mjs";

const rounds = 5;
const slices = 200;
const microsecondsOfSlice = 2000;
const program = process.argv[2];
const validate = new Ajv({ allErrors: true }).compile(reportSchema);

// Microseconds a call.
function timeOf(action) {
  let best = Infinity;
  for (let slice = 0, calls = 1; slice < slices; ++slice) {
    const start = process.hrtime.bigint();
    for (let call = 0; call < calls; ++call) {
      action();
    }
    const time = Number(process.hrtime.bigint() - start) / 1e3;
    best = Math.min(best, time / calls);
    calls = Math.max(1, Math.round(microsecondsOfSlice / best));
  }
  return best;
}

function theirs(text) {
  return timeOf(() => {
    if (!validate(JSON.parse(text))) {
      throw new Error(JSON.stringify(validate.errors[0]));
    }
  });
}

function ours(mode, file) {
  return Number(execFileSync(program, [mode, file], { encoding: "utf8" }));
}

const folder = mkdtempSync(join(tmpdir(), "bench-health-"));
try {
  console.log("document        ajv and JSON.parse    validate            validate and decode");
  for (const size of ["small", "large"]) {
    const file = join(folder, `${size}.json`);
    execFileSync(program, ["write", size, file]);
    const text = readFileSync(file, "utf8");
    const best = { theirs: Infinity, validate: Infinity, decode: Infinity };
    for (let round = 0; round < rounds; ++round) {
      best.theirs = Math.min(best.theirs, theirs(text));
      best.validate = Math.min(best.validate, ours("validate", file));
      best.decode = Math.min(best.decode, ours("decode", file));
    }
    const cell = (time) =>
      `${time.toFixed(1)} us (${(best.theirs / time).toFixed(1)}x)`.padEnd(20);
    console.log(`${`${text.length} bytes`.padEnd(16)}${`${best.theirs.toFixed(1)} us`.padEnd(22)}` +
      cell(best.validate) + cell(best.decode));
  }
} finally {
  rmSync(folder, { recursive: true });
}
