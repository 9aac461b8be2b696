// Adds to the page what needs a script: the charts, the filter of the ladder and the theme. What
// the capture has to tell stands in the page's tables already.
(function () {
  "use strict";

  const data = JSON.parse(document.getElementById("data").textContent);
  const byId = (id) => document.getElementById(id);

  // --- Theme: as the system has it, until the reader chooses

  const root = document.documentElement;
  const systemIsDark = matchMedia("(prefers-color-scheme: dark)");
  const isDark = () => (root.dataset.theme || (systemIsDark.matches ? "dark" : "light")) === "dark";
  const colour = (name) => getComputedStyle(root).getPropertyValue(name).trim();

  function showTheme() {
    byId("theme").textContent = isDark() ? "Light theme" : "Dark theme";
    if (charts.length > 0) {
      // Their keys have colours too, which are given to them only once.
      const { min, max } = charts[0].scales.x;
      drawStretch(data.stretches[byId("stretch").value]);
      charts.forEach((chart) => chart.setScale("x", { min, max }));
    }
  }

  // --- Charts

  const charts = [];
  const HEIGHT = { rate: 240, lanes: 210 };
  const TYPE_COLOURS = 8;
  const SYNC = { key: "time" };
  const utc = (seconds) => uPlot.tzDate(new Date(seconds * 1000), "Etc/UTC");
  const clockText = (ms) => new Date(ms).toISOString().replace("T", " ").replace("Z", "");

  // By how far the marks of the axis of time are apart, in seconds: what stands at each, and below
  // it where the year, the day or the minute changes.
  const day = "\n{YYYY}-{MM}-{DD}";
  const TIME_MARKS = [
    [365 * 86400, "{YYYY}", null, null, null, null, null, null, 1],
    [28 * 86400, "{YYYY}-{MM}", null, null, null, null, null, null, 1],
    [86400, "{MM}-{DD}", "\n{YYYY}", null, null, null, null, null, 1],
    [60, "{HH}:{mm}", day, null, day, null, null, null, 1],
    [1, ":{ss}", day + " {HH}:{mm}", null, day + " {HH}:{mm}", null, "\n{HH}:{mm}", null, 1],
    [0.001, ":{ss}.{fff}", day + " {HH}:{mm}", null, day + " {HH}:{mm}", null, "\n{HH}:{mm}", null, 1],
  ];
  // Both charts begin at the same place.
  const labelWidth = () => (byId("lanes").clientWidth > 500 ? 100 : 88);
  const labelFont = () => (byId("lanes").clientWidth > 500 ? "12px sans-serif" : "11px sans-serif");

  function axis(more) {
    return Object.assign(
      {
        stroke: () => colour("--text"),
        font: labelFont(),
        grid: { stroke: () => colour("--line"), width: 1 },
        ticks: { stroke: () => colour("--line"), width: 1 },
      },
      more
    );
  }

  function draw(id, options, table) {
    const place = byId(id);
    const chart = new uPlot(
      Object.assign(
        { width: place.clientWidth, height: HEIGHT[id], tzDate: utc, cursor: { sync: SYNC, y: false } },
        options
      ),
      table,
      place
    );
    charts.push(chart);
  }

  const timeSeries = { label: "Time (UTC)", value: (_, seconds) => (seconds == null ? "–" : clockText(seconds * 1000)) };

  function drawRate(stretch) {
    const times = stretch.counts[0].map((_, place) => (stretch.start + place * stretch.width) / 1000);
    // The last interval ends somewhere: its line goes on until there.
    times.push((stretch.start + times.length * stretch.width) / 1000);
    const perSecond = stretch.width / 1000;
    const series = data.types.map((name, place) => ({
      label: name,
      stroke: () => colour("--c" + (place % TYPE_COLOURS)),
      width: 1.5,
      dash: place < TYPE_COLOURS ? undefined : [4, 3],
      paths: uPlot.paths.stepped({ align: 1 }),
      points: { show: false },
      value: (_, rate) => (rate == null ? "–" : rate.toFixed(rate < 10 ? 2 : 0)),
    }));
    const rates = stretch.counts.map((counts) => {
      const line = counts.map((count) => count / perSecond);
      line.push(line[line.length - 1]);
      return line;
    });
    draw(
      "rate",
      { series: [timeSeries, ...series], axes: [axis({ values: TIME_MARKS }), axis({ size: labelWidth() })], scales: { x: range(stretch) } },
      [times, ...rates]
    );
  }

  // Both charts show the same stretch of time.
  function range(stretch) {
    const from = stretch.start / 1000;
    const to = Math.max((stretch.start + stretch.counts[0].length * stretch.width) / 1000, from + 1);
    return { range: (chart, min, max) => (min == null || chart.data[0].length < 2 ? [from, to] : [min, max]) };
  }

  // A lane's entries are [from, to, text], in milliseconds, in the order of their beginnings.
  function laneTable(entries, height) {
    const times = [];
    const values = [];
    const texts = new Map();
    const add = (time, value) => {
      const last = times[times.length - 1];
      const seconds = last !== undefined && time / 1000 <= last ? last + 0.0001 : time / 1000;
      times.push(seconds);
      values.push(value);
      return seconds;
    };
    for (const [from, to, text] of entries) {
      texts.set(add(from, height), text);
      if (to > from) {
        texts.set(add(to, height), text);
      }
      add(to, null);
    }
    return { table: [times, values], texts };
  }

  function drawLanes(stretch) {
    const end = stretch.start + stretch.counts[0].length * stretch.width;
    const lanes = data.lanes.map((lane, place) => {
      const inside = lane.entries.filter(([from, to]) => to >= stretch.start && from <= end);
      const clipped = inside.map(([from, to, text]) => [Math.max(from, stretch.start), Math.min(to, end), text]);
      return Object.assign({ name: lane.name }, laneTable(clipped, data.lanes.length - place));
    });
    // A lane that has nothing still has its line of the table.
    const frame = [[stretch.start / 1000, end / 1000], [null, null]];
    // A bar's end holds until the next bar begins, whatever times the other lanes have in between.
    const endsHold = [[1, 1], ...lanes.map(() => [1, 2])];
    const table = uPlot.join([frame, ...lanes.map((lane) => lane.table)], endsHold);
    table.splice(1, 1);
    const series = lanes.map((lane, place) => ({
      label: lane.name,
      stroke: () => colour("--c" + (place % TYPE_COLOURS)),
      width: 8,
      cap: "butt",
      points: { show: true, size: 7, width: 0, fill: () => colour("--c" + (place % TYPE_COLOURS)) },
      value: (chart, _, series, index) => (index == null ? "–" : lane.texts.get(chart.data[0][index]) || "–"),
    }));
    const names = lanes.map((lane) => lane.name).reverse();
    draw(
      "lanes",
      {
        series: [timeSeries, ...series],
        cursor: { sync: SYNC, y: false, dataIdx: nearestOfLane },
        axes: [
          axis({ values: TIME_MARKS }),
          axis({
            size: labelWidth(),
            splits: () => names.map((_, place) => place + 1),
            values: () => names,
          }),
        ],
        scales: { x: range(stretch), y: { range: [0.4, lanes.length + 0.6] } },
      },
      table
    );
  }

  // What of a lane lies within twelve pixels of the cursor.
  function nearestOfLane(chart, series, index, time) {
    if (series === 0) {
      return index;
    }
    const times = chart.data[0];
    const values = chart.data[series];
    const close = 12 * ((chart.scales.x.max - chart.scales.x.min) / Math.max(chart.bbox.width / devicePixelRatio, 1));
    let best = null;
    for (let place = 0; place < times.length; ++place) {
      const away = Math.abs(times[place] - time);
      if (values[place] != null && away <= close && (best === null || away < Math.abs(times[best] - time))) {
        best = place;
      }
    }
    return best;
  }

  function drawStretch(stretch) {
    while (charts.length > 0) {
      charts.pop().destroy();
    }
    drawRate(stretch);
    drawLanes(stretch);
  }

  function chooseStretch() {
    const choice = byId("stretch");
    data.stretches.forEach((stretch, place) => choice.add(new Option(stretch.name, place)));
    choice.value = data.shown;
    choice.addEventListener("change", () => drawStretch(data.stretches[choice.value]));
    byId("stretch-choice").hidden = data.stretches.length < 2;
    drawStretch(data.stretches[data.shown]);
  }

  function fit() {
    for (const chart of charts) {
      const width = chart.root.parentElement.clientWidth;
      if (width > 0 && width !== chart.width) {
        chart.setSize({ width, height: chart.height });
      }
    }
  }

  // --- The ladder's filter: every word has to stand in the row

  function filterLadder() {
    const words = byId("filter-text").value.toLowerCase().split(/\s+/).filter((word) => word !== "");
    const technology = byId("filter-technology").value;
    const link = byId("filter-link").value;
    const withBroadcast = byId("filter-broadcast").checked;
    let shown = 0;
    for (const { row, text, technology: ofRow } of rungs) {
      const has =
        words.every((word) => text.includes(word)) &&
        (technology === "" || technology === ofRow) &&
        (link === "" || row.classList.contains(link)) &&
        (withBroadcast || !row.classList.contains("b"));
      row.hidden = !has;
      shown += has ? 1 : 0;
    }
    byId("filter-count").textContent = `${shown.toLocaleString("en")} of ${rungs.length.toLocaleString("en")} rows`;
  }

  const rungs = [];

  function prepareLadder() {
    const ladder = byId("ladder");
    if (ladder === null) {
      return;
    }
    const technologies = new Set();
    for (const row of ladder.tBodies[0].rows) {
      const technology = row.classList.contains("r") ? null : row.cells[3].textContent;
      // The blank between two cells is none of the page's.
      const text = Array.from(row.cells, (cell) => cell.textContent).join(" ").toLowerCase();
      rungs.push({ row, text, technology });
      if (technology !== null) {
        technologies.add(technology);
      }
    }
    for (const technology of Array.from(technologies).sort()) {
      byId("filter-technology").add(new Option(technology, technology));
    }
    for (const id of ["filter-text", "filter-technology", "filter-link", "filter-broadcast"]) {
      byId(id).addEventListener("input", filterLadder);
    }
    byId("filter").hidden = false;
    filterLadder();
  }

  // --- Paper is white

  let themeOnScreen = null;
  addEventListener("beforeprint", () => {
    themeOnScreen = root.dataset.theme || "";
    root.dataset.theme = "light";
    showTheme();
  });
  addEventListener("afterprint", () => {
    if (themeOnScreen === "") {
      delete root.dataset.theme;
    } else {
      root.dataset.theme = themeOnScreen;
    }
    showTheme();
  });

  byId("theme").hidden = false;
  byId("theme").addEventListener("click", () => {
    root.dataset.theme = isDark() ? "light" : "dark";
    showTheme();
  });
  systemIsDark.addEventListener("change", showTheme);

  showTheme();
  prepareLadder();
  if (data.stretches.length > 0) {
    byId("charts").hidden = false;
    chooseStretch();
    new ResizeObserver(fit).observe(byId("charts"));
  }
})();
