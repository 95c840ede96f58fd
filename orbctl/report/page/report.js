// SPDX-License-Identifier: MIT
// Draws the charts of a report: one below the other, on one time line, zoomed and moved together.
"use strict";
(() => {
    const trouble = (reason) => {
        const line = document.getElementById("trouble");
        line.textContent = "The charts cannot be drawn: " + reason;
        line.hidden = false;
    };
    window.addEventListener("error", (event) => trouble(event.message));

    const data = JSON.parse(document.getElementById("data").textContent);
    const color = (name) => getComputedStyle(document.documentElement).getPropertyValue("--" + name).trim();
    const axisWidth = 64; // of every chart, so that all plots stand exactly below each other
    const leastSpan = 0.002; // s: some tens of frames
    const begin = data.marks.reduce((least, mark) => Math.min(least, mark.time), 0);
    const end = data.end + (data.end - begin) * 0.005;
    const charts = [];
    const box = document.getElementById("charts");
    const readout = document.createElement("span");
    const cursor = document.createElement("div");

    const twoDigits = (number) => String(Math.floor(number)).padStart(2, "0");

    /// Seconds as 1:02:03.25, with as many decimals as `step` needs.
    function clock(time, step) {
        const decimals = step >= 1 ? 0 : Math.min(4, Math.ceil(-Math.log10(step)));
        const ticks = Math.round(Math.abs(time) * 10 ** decimals);
        const whole = Math.floor(ticks / 10 ** decimals);
        const hours = Math.floor(whole / 3600);
        const minutes = Math.floor(whole / 60) % 60;
        const fraction = decimals ? "." + String(ticks % 10 ** decimals).padStart(decimals, "0") : "";
        const head = hours ? hours + ":" + twoDigits(minutes) : String(minutes);
        return (time < 0 ? "-" : "") + head + ":" + twoDigits(whole % 60) + fraction;
    }

    /// Ticks at round clock times.
    function timeTicks(from, to, pixels) {
        const steps = [1e-4, 2e-4, 5e-4, 1e-3, 2e-3, 5e-3, 0.01, 0.02, 0.05, 0.1, 0.2, 0.5, 1, 2, 5, 10, 15, 30,
            60, 120, 300, 600, 900, 1800, 3600, 7200, 14400, 28800, 86400];
        const step = steps.find((one) => (to - from) / one <= pixels / 90) || 604800;
        const ticks = [];
        for (let n = Math.ceil(from / step); n * step <= to; ++n)
            ticks.push({ v: n * step, label: clock(n * step, step) });
        return ticks;
    }

    function showAll(from, to) {
        const span = Math.max(to - from, leastSpan);
        const start = Math.min(Math.max(from, begin), Math.max(begin, end - span));
        const range = [start, Math.min(start + span, end)];
        for (const chart of charts)
            chart.updateOptions({ dateWindow: range });
    }

    function zoomAround(time, factor) {
        const [from, to] = charts[0].xAxisRange();
        showAll(time - (time - from) * factor, time + (to - time) * factor);
    }

    /// The wheel zooms around the pointer; sideways, or with shift, it moves.
    function onWheel(event, graph) {
        const [from, to] = graph.xAxisRange();
        const sideways = event.deltaX || (event.shiftKey ? event.deltaY : 0);
        if (sideways) {
            const way = Math.sign(sideways) * (to - from) * 0.1;
            if (from + way >= begin && to + way <= end)
                showAll(from + way, to + way);
        } else
            zoomAround(graph.toDataXCoord(event.offsetX), event.deltaY > 0 ? 1.25 : 0.8);
        event.preventDefault();
    }

    let following = false;

    /// What was zoomed or moved by dragging in one chart is done in all.
    function follow(graph, initial) {
        if (initial || following)
            return;
        following = true;
        const range = graph.xAxisRange();
        for (const chart of charts)
            if (chart !== graph && String(chart.xAxisRange()) !== String(range))
                chart.updateOptions({ dateWindow: range });
        following = false;
    }

    function drawMarks(context, area, graph) {
        const [from, to] = graph.xAxisRange();
        for (const mark of data.marks) {
            if (mark.time < from || mark.time > to || !isNotable(mark))
                continue;
            context.fillStyle = color(colorOf(mark));
            context.globalAlpha = 0.5;
            context.fillRect(Math.round(graph.toDomXCoord(mark.time)), area.y, 1, area.h);
            context.globalAlpha = 1;
        }
    }

    const isNotable = (mark) => mark.lane !== "log" || mark.level >= 3;
    const colorOf = (mark) => mark.lane !== "log" ? mark.lane : mark.level >= 3 ? "warning" : "log";

    function addChart(name, height, rows, options) {
        const frame = document.createElement("div");
        frame.className = "chart " + (options.kind || "");
        const label = document.createElement("div");
        label.className = "name";
        label.textContent = name;
        const plot = document.createElement("div");
        plot.className = "plot";
        plot.style.height = height + "px";
        frame.append(label, plot);
        box.append(frame);
        const underlay = options.underlay;
        delete options.underlay;
        delete options.kind;
        charts.push(new Dygraph(plot, rows, {
            axisLabelWidth: axisWidth,
            axisLineColor: color("line"),
            dateWindow: [begin, end],
            drawCallback: follow,
            gridLineColor: color("line"),
            gridLineWidth: 0.5,
            highlightCircleSize: 4,
            interactionModel: { ...Dygraph.defaultInteractionModel, wheel: onWheel,
                dblclick: () => showAll(begin, end) },
            labels: ["time", "value"],
            legend: "never",
            rightGap: 4,
            strokeWidth: 1.5,
            underlayCallback: (context, area, graph) => {
                if (underlay)
                    underlay(context, area, graph);
                drawMarks(context, area, graph);
            },
            ...options,
            axes: {
                x: { ticker: timeTicks, drawAxis: options.drawTime === true, axisLabelWidth: 80, pixelsPerLabel: 90 },
                y: { axisLabelWidth: axisWidth, pixelsPerLabel: 26, ...options.y },
            },
        }));
    }

    const levelsOf = (track) => Int8Array.from(atob(track.levels), (byte) => byte.charCodeAt(0));

    /// One column of pixels after the other, from the lowest to the highest level in it.
    function wavePainter(track, tint) {
        const levels = levelsOf(track);
        return (context, area, graph) => {
            const middle = graph.toDomYCoord(0);
            const height = graph.toDomYCoord(0) - graph.toDomYCoord(data.peak / 127);
            context.fillStyle = color(tint);
            for (let x = area.x; x < area.x + area.w; ++x) {
                const bins = (graph.toDataXCoord(x) - track.start) / track.binSeconds;
                const width = (graph.toDataXCoord(x + 1) - graph.toDataXCoord(x)) / track.binSeconds;
                const first = Math.max(Math.floor(bins), 0);
                const last = Math.min(Math.max(Math.ceil(bins + width), first + 1), levels.length / 2);
                if (bins + width <= 0 || first >= last)
                    continue;
                let least = 127;
                let most = -127;
                for (let bin = first; bin < last; ++bin) {
                    least = Math.min(least, levels[2 * bin]);
                    most = Math.max(most, levels[2 * bin + 1]);
                }
                context.fillRect(x, middle - most * height, 1, Math.max((most - least) * height, 1));
            }
        };
    }

    /// Nothing at both ends, so that every chart spans the whole time line.
    const padded = (rows) => [[begin, null], ...rows, [end, null]];

    function addWaves() {
        const range = data.peak * 1.05;
        for (const track of data.tracks) {
            const height = data.tracks.length > 6 ? 64 : 96;
            addChart(track.name, height, padded([]), {
                kind: "sound",
                underlay: wavePainter(track, track.source ? "source" : "receiver"),
                valueRange: [-range, range],
                y: { pixelsPerLabel: 22, axisLabelFormatter: (value) => value.toFixed(data.peak < 0.1 ? 3 : 1) },
            });
        }
    }

    /// Around the values, but not so close that noise of microseconds fills the chart.
    function rangeAround(values) {
        const least = values.reduce((one, other) => Math.min(one, other), Infinity);
        const most = values.reduce((one, other) => Math.max(one, other), -Infinity);
        const margin = Math.max((most - least) * 0.1, 0.005);
        return [least - margin, most + margin];
    }

    function addSeries(name, tint, rows, target) {
        if (!rows.length)
            return;
        const values = rows.map((row) => row[1]).concat(target === null ? [] : [target]);
        addChart(name, 110, padded(rows), {
            colors: [color(tint)],
            connectSeparatedPoints: true,
            drawPoints: rows.length < 500,
            pointSize: 2,
            underlay: target === null ? null : (context, area, graph) => {
                context.fillStyle = color("faint");
                context.fillRect(area.x, Math.round(graph.toDomYCoord(target)), area.w, 1);
            },
            valueRange: rangeAround(values),
            y: { axisLabelFormatter: (value) => value.toFixed(3) + " s" },
        });
    }

    const lanes = ["fault", "log", "event"];
    const laneNames = ["faults", "log", "events"];

    function addMarks() {
        const dots = (context, area, graph) => {
            const [from, to] = graph.xAxisRange();
            for (const mark of data.marks) {
                if (mark.time < from || mark.time > to)
                    continue;
                context.fillStyle = color(colorOf(mark));
                context.beginPath();
                context.arc(graph.toDomXCoord(mark.time), graph.toDomYCoord(lanes.indexOf(mark.lane)), 4, 0, 7);
                context.fill();
            }
        };
        addChart("Events, log lines and faults", 100, padded([]), {
            drawTime: true,
            underlay: dots,
            valueRange: [-0.6, 2.6],
            y: { ticker: () => laneNames.map((label, v) => ({ v, label })) },
        });
    }

    /// The mark nearest to a place, if any is near.
    function markAt(time, graph) {
        const reach = 6 * (graph.toDataXCoord(1) - graph.toDataXCoord(0));
        let best = null;
        for (const mark of data.marks)
            if (Math.abs(mark.time - time) <= (best ? Math.abs(best.time - time) : reach))
                best = mark;
        return best;
    }

    function nearest(rows, time) {
        let best = null;
        for (const row of rows)
            if (!best || Math.abs(row[0] - time) < Math.abs(best[0] - time))
                best = row;
        return best ? best[1].toFixed(4) + " s" : null;
    }

    function moveCursor(event) {
        const edge = box.querySelector("canvas").getBoundingClientRect();
        const x = event.clientX - edge.left;
        const time = charts[0].toDataXCoord(x);
        const inside = x >= axisWidth && time <= charts[0].xAxisRange()[1];
        cursor.hidden = !inside;
        if (!inside)
            return;
        cursor.style.left = event.clientX - box.getBoundingClientRect().left - 1 + "px";
        const parts = [clock(time, 0.0001)];
        const latency = nearest(data.latency, time);
        const buffered = nearest(data.buffered, time);
        const mark = markAt(time, charts[0]);
        if (latency)
            parts.push("latency " + latency);
        if (buffered)
            parts.push("buffered " + buffered);
        if (mark)
            parts.push(mark.text.length > 120 ? mark.text.slice(0, 120) + "\u2026" : mark.text);
        readout.textContent = parts.join("  \u00b7  ");
    }

    function addTools() {
        const tools = document.getElementById("tools");
        const add = (text, action) => {
            const button = document.createElement("button");
            button.textContent = text;
            button.addEventListener("click", action);
            tools.append(button);
        };
        const middle = () => charts[0].xAxisRange().reduce((from, to) => (from + to) / 2);
        add("All", () => showAll(begin, end));
        add("+", () => zoomAround(middle(), 0.5));
        add("\u2212", () => zoomAround(middle(), 2));
        const hint = document.createElement("span");
        hint.textContent = "drag or wheel: zoom \u00b7 shift: move \u00b7 double click: all";
        readout.id = "readout";
        tools.append(hint, readout);
        cursor.id = "cursor";
        cursor.hidden = true;
        box.append(cursor);
        box.addEventListener("mousemove", moveCursor);
        box.addEventListener("mouseleave", () => { cursor.hidden = true; });
    }

    /// A row of the list shows its place, and a click on the charts shows the row of the mark there.
    function tieList() {
        const rows = Array.from(document.querySelectorAll("#lines tbody tr"));
        const choose = (row) => {
            for (const other of document.querySelectorAll("#lines tr.chosen"))
                other.classList.remove("chosen");
            row.classList.add("chosen");
        };
        for (const row of rows)
            row.addEventListener("click", () => {
                const [from, to] = charts[0].xAxisRange();
                const half = Math.min(to - from, 4) / 2;
                choose(row);
                showAll(Number(row.dataset.time) - half, Number(row.dataset.time) + half);
            });
        box.addEventListener("click", (event) => {
            const edge = box.querySelector("canvas").getBoundingClientRect();
            const mark = markAt(charts[0].toDataXCoord(event.clientX - edge.left), charts[0]);
            const row = mark && rows.find((one) => Math.abs(Number(one.dataset.time) - mark.time) < 1e-5);
            if (!row)
                return;
            choose(row);
            row.scrollIntoView({ block: "nearest" });
        });
    }

    addWaves();
    addSeries("Effective latency of chunks as they are fed (logged every 5 s at most; grey: latency set)", "latency", data.latency,
        data.latencySet);
    addSeries("Buffered: sound that lies ahead of the render clock (logged likewise)", "buffered", data.buffered, null);
    addMarks();
    addTools();
    tieList();
})();
