"use strict";
// The monitor page: reads the server's event stream, keeps the last 20 s of
// each channel's envelope, draws traces every frame, the head map whenever
// impedances come, and sends the user's commands back.
(() => {
  const $ = (id) => document.getElementById(id);
  const token = new URLSearchParams(location.search).get("token") || "";
  const KEEP_SECONDS = 20;
  // The page draws this far behind the newest data, so that it can scroll
  // smoothly across the tenth of a second between messages.
  const LAG_SECONDS = 0.15;

  const state = {
    rate: 0, binRate: 100, channels: [], capacity: 0, mins: [], maxs: [], filled: [],
    lastBin: -1, lastArrival: 0, quality: [], gains: [], events: [],
    electrodes: [], impedanceRunning: false, recording: { active: false },
  };
  const frames = { count: 0, total: 0, worst: 0, recent: [] };
  // For the benchmark: the time spent drawing each frame.
  window.qvtFrameStats = () => {
    const sorted = [...frames.recent].sort((a, b) => a - b);
    return {
      frames: frames.count, meanMs: frames.count ? frames.total / frames.count : 0, worstMs: frames.worst,
      p99Ms: sorted.length ? sorted[Math.min(sorted.length - 1, Math.floor(sorted.length * 0.99))] : 0,
    };
  };
  window.qvtFrameStats.reset = () => Object.assign(frames, { count: 0, total: 0, worst: 0, recent: [] });

  async function command(path, params) {
    const body = new URLSearchParams(params);
    const response = await fetch(path, {
      method: "POST", body, headers: token ? { "X-QVT-Token": token } : {},
    });
    if (!response.ok) alert(await response.text());
  }

  // --- messages
  function onSetup(setup) {
    state.rate = setup.rate;
    state.binRate = setup.binRate;
    state.channels = setup.channels;
    state.capacity = KEEP_SECONDS * setup.binRate;
    state.mins = setup.channels.map(() => new Float32Array(state.capacity));
    state.maxs = setup.channels.map(() => new Float32Array(state.capacity));
    state.filled = new Float64Array(state.capacity).fill(-1);  // which bin each slot holds
    state.quality = setup.channels.map(() => "good");
    if (state.gains.length !== setup.channels.length) state.gains = setup.channels.map(() => 1);
    state.lastBin = setup.firstBin - 1;
  }

  function onSignal(signal) {
    const bins = signal.min.length ? signal.min[0].length : 0;
    for (let b = 0; b < bins; ++b) {
      const bin = signal.bin + b;
      const slot = bin % state.capacity;
      state.filled[slot] = bin;
      for (let c = 0; c < state.channels.length; ++c) {
        state.mins[c][slot] = signal.min[c][b];
        state.maxs[c][slot] = signal.max[c][b];
      }
    }
    state.lastBin = signal.bin + bins - 1;
    state.lastArrival = performance.now();
    state.quality = signal.quality;
    document.body.dataset.lastBin = String(state.lastBin);
  }

  function onEvent(event) {
    state.events.push(event);
    while (state.events.length && state.events[0].bin < state.lastBin - state.capacity) state.events.shift();
  }

  function thresholds() {
    return [Number($("good-below").value) || 10, Number($("poor-above").value) || 20];
  }

  function drawContacts() {
    const [good, poor] = thresholds();
    HeadMap.draw($("headmap"), state.electrodes, good, poor);
    const references = $("references");
    references.replaceChildren();
    for (const electrode of state.electrodes.filter((e) => e.reference)) {
      const box = document.createElement("div");
      const kind = HeadMap.level(electrode.kOhm, good, poor);
      box.className = `reference ${electrode.kOhm === null ? "" : kind}`;
      box.dataset.name = electrode.name;
      const name = document.createElement("b");
      name.textContent = electrode.name;
      box.append(name, electrode.kOhm === null ? "reference" : `${electrode.kOhm.toFixed(1)} kOhm`);
      references.appendChild(box);
    }
  }

  function onImpedance(message) {
    // The references lead, as they matter most.
    state.electrodes = [...message.electrodes].sort((a, b) => Number(b.reference) - Number(a.reference));
    state.impedanceRunning = message.running;
    $("impedance").textContent = message.running ? "Stop impedance check" : "Start impedance check";
    $("impedance-state").textContent = message.running ? "measuring…" : "";
    drawContacts();
  }

  function onHealth(health) {
    const link = $("link");
    link.textContent = `link ${health.link}`;
    link.className = `badge ${health.link}`;
    $("battery").textContent = health.battery === null ? "–" : `${health.battery} %`;
    $("lost").textContent = String(health.samplesLost);
    $("gaps").textContent = String(health.gaps);
    $("drift").textContent = health.driftPpm === null ? "–" : `${health.driftPpm} ppm`;
    $("dropped").textContent = String(health.pageMessagesDropped);
    const alarms = $("alarms");
    alarms.replaceChildren(...health.alarms.map((text) => {
      const item = document.createElement("li");
      item.textContent = text;
      return item;
    }));
  }

  function onRecording(recording) {
    state.recording = recording;
    const button = $("record");
    button.textContent = recording.active ? "Stop recording" : "Start recording";
    button.classList.toggle("active", recording.active);
    const size = recording.bytes >= 1e6 ? `${(recording.bytes / 1e6).toFixed(1)} MB`
      : `${(recording.bytes / 1e3).toFixed(0)} kB`;
    $("record-file").textContent = recording.error ? recording.error
      : (recording.file ? `${recording.file} (${size})` : "");
  }

  function onDisplay(display) {
    $("notch").value = String(display.notchHz);
    $("bandpass").checked = display.bandPass;
  }

  function connect() {
    const source = new EventSource(`events${token ? `?token=${encodeURIComponent(token)}` : ""}`);
    const handlers = {
      setup: onSetup, signal: onSignal, event: onEvent, impedance: onImpedance,
      health: onHealth, recording: onRecording, display: onDisplay,
    };
    for (const [name, handle] of Object.entries(handlers))
      source.addEventListener(name, (message) => handle(JSON.parse(message.data)));
    // EventSource reconnects by itself; the link badge says what happened.
    source.onerror = () => {
      $("link").textContent = "server unreachable";
      $("link").className = "badge lost";
    };
  }

  // --- traces
  const canvas = $("traces");
  const context = canvas.getContext("2d");
  const LABEL_WIDTH = 90;

  function laneOf(y) {
    const lanes = state.channels.length;
    return lanes ? Math.floor(y / (canvas.clientHeight / lanes)) : -1;
  }

  function draw(now) {
    const started = performance.now();
    const width = canvas.clientWidth;
    const height = canvas.clientHeight;
    const ratio = window.devicePixelRatio || 1;
    if (canvas.width !== Math.round(width * ratio) || canvas.height !== Math.round(height * ratio)) {
      canvas.width = Math.round(width * ratio);
      canvas.height = Math.round(height * ratio);
    }
    context.setTransform(ratio, 0, 0, ratio, 0, 0);
    context.clearRect(0, 0, width, height);
    const lanes = state.channels.length;
    if (lanes && state.lastBin >= 0) {
      const seconds = Number($("window").value);
      const scale = Number($("scale").value);
      const span = seconds * state.binRate;
      const sinceArrival = Math.min(0.1, (now - state.lastArrival) / 1000);
      const right = state.lastBin - LAG_SECONDS * state.binRate + sinceArrival * state.binRate;
      const left = right - span;
      const plotWidth = width - LABEL_WIDTH;
      const laneHeight = height / lanes;
      const binsPerPixel = span / plotWidth;
      context.lineWidth = 1;
      // One path for the good channels and one for the flagged: a few large
      // strokes cost the canvas far less than one per channel.
      const paths = { good: new Path2D(), flagged: new Path2D() };
      context.font = "12px sans-serif";
      for (let c = 0; c < lanes; ++c) {
        const middle = (c + 0.5) * laneHeight;
        const mins = state.mins[c];
        const maxs = state.maxs[c];
        // Centred on the window's mean, so that an offset does not push
        // the trace out of its lane.
        let sum = 0;
        let n = 0;
        for (let bin = Math.ceil(Math.max(left, state.lastBin - state.capacity + 1)); bin <= right; bin += 4) {
          const slot = bin % state.capacity;
          if (state.filled[slot] !== bin) continue;
          sum += mins[slot] + maxs[slot];
          n += 2;
        }
        const offset = n ? sum / n : 0;
        const pixelsPerUnit = (laneHeight / 2) / (scale / state.gains[c]);
        const quality = state.quality[c] || "good";
        const path = quality === "good" ? paths.good : paths.flagged;
        const ceiling = middle - laneHeight / 2;
        const floor = middle + laneHeight / 2;
        let drawing = false;
        for (let x = 0; x < plotWidth; ++x) {
          const from = Math.floor(left + x * binsPerPixel);
          const to = Math.max(from, Math.floor(left + (x + 1) * binsPerPixel) - 1);
          let low = Infinity;
          let high = -Infinity;
          for (let bin = Math.max(0, from); bin <= to; ++bin) {
            const slot = bin % state.capacity;
            if (state.filled[slot] !== bin) continue;
            if (mins[slot] < low) low = mins[slot];
            if (maxs[slot] > high) high = maxs[slot];
          }
          if (low === Infinity) {
            drawing = false;
            continue;
          }
          // Whole pixels: the canvas then has no sub-pixel edges to smooth.
          const px = LABEL_WIDTH + x + 0.5;
          const top = Math.round(Math.max(ceiling, middle - (high - offset) * pixelsPerUnit));
          const bottom = Math.round(Math.min(floor, middle - (low - offset) * pixelsPerUnit));
          if (drawing) path.lineTo(px, top); else path.moveTo(px, top);
          path.lineTo(px, Math.max(bottom, top + 1));
          drawing = true;
        }
        context.fillStyle = quality === "good" ? "#222" : "#b3261e";
        const gain = state.gains[c] === 1 ? "" : ` ×${state.gains[c]}`;
        context.fillText(`${state.channels[c].name}${gain}`, 4, middle - 2);
        if (quality !== "good") context.fillText(quality, 4, middle + 12);
      }
      context.strokeStyle = "#1b4f9c";
      context.stroke(paths.good);
      context.strokeStyle = "#b3261e";
      context.stroke(paths.flagged);
      context.font = "11px sans-serif";
      for (const event of state.events) {
        if (event.bin < left || event.bin > right) continue;
        const px = LABEL_WIDTH + (event.bin - left) / binsPerPixel;
        context.strokeStyle = event.kind === "marker" ? "#8e24aa" : "#ef6c00";
        context.beginPath();
        context.moveTo(px, 0);
        context.lineTo(px, height);
        context.stroke();
        context.fillStyle = context.strokeStyle;
        // Markers' labels below the triggers', which come regularly.
        context.fillText(event.text, px + 3, event.kind === "marker" ? 24 : 11);
      }
    }
    const spent = performance.now() - started;
    frames.count += 1;
    frames.total += spent;
    frames.worst = Math.max(frames.worst, spent);
    frames.recent.push(spent);
    if (frames.recent.length > 3600) frames.recent.shift();
    if (frames.count % 30 === 0) $("frame-time").textContent = `frame ${spent.toFixed(1)} ms`;
    requestAnimationFrame(draw);
  }

  // --- controls
  $("impedance").addEventListener("click", () => command("api/impedance", { on: state.impedanceRunning ? "0" : "1" }));
  $("record").addEventListener("click", () => command("api/recording", { on: state.recording.active ? "0" : "1" }));
  $("marker").addEventListener("click", () => command("api/marker", { text: $("marker-text").value || "mark" }));
  const sendDisplay = () => command("api/display", { notch: $("notch").value, bandpass: $("bandpass").checked ? "1" : "0" });
  $("notch").addEventListener("change", sendDisplay);
  $("bandpass").addEventListener("change", sendDisplay);
  for (const id of ["good-below", "poor-above"]) $(id).addEventListener("input", drawContacts);
  canvas.addEventListener("wheel", (wheel) => {
    if (wheel.offsetX > LABEL_WIDTH) return;
    const c = laneOf(wheel.offsetY);
    if (c < 0 || c >= state.gains.length) return;
    wheel.preventDefault();
    state.gains[c] = Math.min(64, Math.max(1 / 64, state.gains[c] * (wheel.deltaY < 0 ? 2 : 0.5)));
  });

  connect();
  requestAnimationFrame(draw);
})();
