// "health-report@1" as far as a JSON schema can say it. It cannot compare the summary with the
// checks, a receipt with its report, or a date with the calendar. Lengths are part of the patterns,
// which is quicker than maxLength.
const text = (pattern) => ({ type: "string", pattern });
const app = text("^[a-z0-9][a-z0-9_-]{0,38}$");
const version = text("^[A-Za-z0-9][A-Za-z0-9.+_-]{0,79}$");
const build = text("^[A-Za-z0-9][A-Za-z0-9._-]{0,63}$");
const commit = "[A-Za-z0-9][A-Za-z0-9._-]{0,127}";
const stableId = text("^(?=.{1,80}$)[a-z0-9]+(?:[-._][a-z0-9]+)*$");
const metricKey = text("^(?=.{1,80}$)[A-Za-z0-9]+(?:[-._][A-Za-z0-9]+)*$");
const timestamp = text("^\\d{4}-\\d\\d-\\d\\dT\\d\\d:\\d\\d:\\d\\d(?:\\.\\d{1,9})?Z$");
const status = { enum: ["pass", "warning", "fail", "skip"] };
const whole = { type: "integer", minimum: 0, maximum: 1e12 };

const object = (properties, optional = []) => ({
  type: "object",
  properties,
  required: Object.keys(properties).filter((key) => !optional.includes(key)),
  additionalProperties: false,
});

const metrics = {
  type: "object",
  maxProperties: 32,
  propertyNames: metricKey,
  additionalProperties: { type: "number", minimum: -1e12, maximum: 1e12 },
};

const summaryKeys = ["checks", "passed", "failed", "warnings", "skipped", "totalDurationMs"];

const suites = {
  type: "array", items: metricKey, minItems: 1, maxItems: 32, uniqueItems: true,
};

const receipt = object({
  schemaVersion: { const: "build-attestation@1" },
  app,
  version,
  build,
  sourceCommit: text(`^${commit}$`),
  generatedAt: timestamp,
  verifiedSuites: suites,
}, ["verifiedSuites"]);

const check = object({
  id: stableId,
  category: { enum: ["unit", "smoke", "reliability", "eval"] },
  status,
  durationMs: whole,
  metrics,
});

export const reportSchema = object({
  schemaVersion: { const: "health-report@1" },
  app,
  channel: { enum: ["release", "beta", "dev"] },
  version,
  build,
  sourceCommit: text(`^(?:${commit})?$`),
  artifact: { enum: ["static-web", "worker", "go-server", "mac-app"] },
  trigger: {
    enum: ["releaseVerification", "versionLaunch", "periodic", "manual", "postbuild", "bootBeacon"],
  },
  generatedAt: timestamp,
  status,
  checks: { type: "array", items: check, maxItems: 256 },
  metrics: { ...metrics, required: summaryKeys, properties: { bundleBytes: whole } },
  attestation: {
    if: { type: "object", required: ["receipt"] },
    then: object({ gatesVerified: { const: true }, verifiedSuites: suites, receipt }),
    else: receipt,
  },
  logKey: text("^health/[a-z0-9_-]+/[A-Za-z0-9._-]+/[A-Za-z0-9+.:_-]{1,64}\\.json$"),
}, ["attestation", "logKey"]);
