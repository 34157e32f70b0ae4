"use strict";
// Draws the plots of the report from the data that the page carries.
(() => {
  const data = JSON.parse(document.getElementById("data").textContent);
  // Okabe and Ito's colours, which remain distinct in the common kinds of colour blindness;
  // the dashes tell the lines apart without colours.
  const colours = ["#0072b2", "#d55e00", "#009e73", "#cc79a7", "#000000", "#e69f00", "#56b4e9",
                   "#7f7f7f"];
  const dashes = [[], [10, 5], [3, 3], [12, 4, 3, 4], [6, 6], [2, 6], [16, 4], [8, 3, 2, 3, 2, 3]];
  const firstShown = 6;

  const short = value => {
    if (value == null) return "";
    const size = Math.abs(value);
    if (size !== 0 && (size < 1e-3 || size >= 1e5))
      return value.toExponential().replace(/(\.\d{0,3}[1-9])\d*e/, "$1e").replace("e+", "e");
    return String(+value.toPrecision(6));
  };
  const exact = value => value == null ? "–" : String(+value.toPrecision(5));
  const shownTicks = (plot, ticks) => ticks.map(short);

  // Ticks of a logarithmic axis: 1 to 9 times the powers of ten and, zoomed in to less than a
  // decade, round steps. The powers' multiples have labels where there is room, in pixels.
  function logTicks(low, high) {
    const ticks = [];
    if (high < 10 * low) {
      const power = 10 ** Math.floor(Math.log10((high - low) / 8));
      const step = [1, 2, 5, 10].map(f => f * power).find(s => s >= (high - low) / 8);
      for (let k = Math.ceil(low / step); k * step <= high; ++k) ticks.push(k * step);
    } else {
      for (let p = Math.floor(Math.log10(low)); 10 ** p <= high; ++p)
        for (let digit = 1; digit < 10; ++digit) {
          const tick = Number(digit + "e" + p);
          if (tick >= low && tick <= high) ticks.push(tick);
        }
    }
    return ticks;
  }
  const logAxis = (scale, pixels, room) => ({
    splits: (plot, k, low, high) => logTicks(low, high),
    filter: (plot, ticks) => {
      const {min, max} = plot.scales[scale];
      if (max < 10 * min) return ticks;
      const decade = pixels / Math.log10(max / min);
      const every = Math.ceil(room / decade);
      const labelled = 0.3 * decade >= room ? [1, 2, 5] : [1];
      return ticks.map(tick => {
        const [digit, power] = tick.toExponential().split("e").map(Number);
        return labelled.includes(digit) && power % every === 0 ? tick : null;
      });
    }
  });

  function draw(place, title, yTitle, names, columns, options) {
    const logarithmicX = data.x[0] > 0 && data.x.length > 1;
    const clean = options.log ? columns.map(c => c.map(v => v > 0 ? v : null)) : columns;
    // Without a positive value there is no logarithmic scale.
    const log = options.log && clean.some(c => c.some(v => v != null));
    const axis = {stroke: "#222", grid: {stroke: "#ddd", width: 1}, ticks: {show: false},
                  values: shownTicks, font: "12px sans-serif", labelFont: "13px sans-serif"};
    const series = names.map((name, k) => ({
      label: name, stroke: colours[k % colours.length], dash: dashes[k % dashes.length],
      width: 2, points: {show: data.x.length < 2}, show: k < firstShown,
      value: (plot, value) => exact(value)
    }));
    return new uPlot({
      title, width: 940, height: options.height,
      cursor: {drag: {x: true, y: true, uni: 40},
               sync: {key: options.group, setSeries: true}},
      legend: {live: true},
      hooks: {draw: [plot => {
        plot.root.dataset.drawn = plot.series.slice(1).filter(s => s.show).length;
      }]},
      scales: {x: {time: false, distr: logarithmicX ? 3 : 1, range: (plot, low, high) =>
                     low < high ? [low, high] : [low * 0.9 - 0.1, high * 1.1 + 0.1]},
               y: options.phase ? {range: [-190, 190]} : {distr: log ? 3 : 1}},
      axes: [{...axis, label: data.axis, size: 45, ...(logarithmicX ? logAxis("x", 800, 50) : {})},
             {...axis, label: yTitle, size: 80, ...(log ? logAxis("y", options.height - 130, 20) : {}),
              ...(options.phase ? {splits: () => [-180, -90, 0, 90, 180]} : {})}],
      series: [{label: data.axis, value: (plot, value) => exact(value)}, ...series]
    }, [data.x, ...clean], place);
  }

  // A plot for each of the things that a selector offers, one at a time.
  function drawChoice(id, choices, show) {
    const section = document.getElementById(id);
    if (!section || choices.length === 0) return;
    const place = section.querySelector(".chart");
    let plots = [];
    const redraw = k => {
      plots.forEach(plot => plot.destroy());
      place.replaceChildren();
      plots = show(place, choices[k]);
    };
    const selector = section.querySelector("select");
    choices.forEach((choice, k) => selector.add(new Option(choice.name, k)));
    selector.addEventListener("change", () => redraw(selector.value));
    redraw(0);
  }

  drawChoice("responses", data.responses, (place, input) => [
    draw(place, "Magnitude, " + input.name, "magnitude" + data.responseUnit, data.outputs,
         input.magnitude, {log: true, height: 360, group: "responses"}),
    draw(place, "Phase, " + input.name, "phase [deg]", data.outputs, input.phase,
         {phase: true, height: 240, group: "responses"})
  ]);
  const densities = document.getElementById("densities");
  if (densities && data.densities)
    draw(densities.querySelector(".chart"), "Power spectral density", "density" + data.densityUnit,
         data.densityNames, data.densities, {log: true, height: 380, group: "densities"});
})();
