"use strict";

// The page is complete without this; it adds dividers to the pictures and a cursor to the curves.
(() => {
    const channels = ["red", "green", "blue"];
    const data = JSON.parse(document.getElementById("data").textContent);

    function makeRange(label, maximum, value) {
        const range = document.createElement("input");
        range.type = "range";
        range.min = 0;
        range.max = maximum;
        range.value = value;
        range.setAttribute("aria-label", label);
        return range;
    }

    /// Calls `move` with where the pointer is across the element, 0 to 1.
    function followPointer(element, needsButton, move) {
        const follow = (event) => {
            if (needsButton && event.buttons === 0) {
                return;
            }
            const box = element.getBoundingClientRect();
            move(Math.min(1, Math.max(0, (event.clientX - box.left) / box.width)));
        };
        element.addEventListener("pointerdown", follow);
        element.addEventListener("pointermove", follow);
    }

    function addDivider(pair) {
        const pictures = pair.querySelector(".pictures");
        const range = makeRange(`Divider between before and after, frame ${pair.dataset.frame}`,
            100, 50);
        const show = () => {
            pictures.style.setProperty("--split", `${range.value}%`);
            range.setAttribute("aria-valuetext", `${range.value} % before`);
        };
        range.addEventListener("input", show);
        followPointer(pictures, true, (share) => {
            range.value = Math.round(100 * share);
            show();
        });
        pictures.addEventListener("dragstart", (event) => event.preventDefault());
        pictures.after(range);
        show();
    }

    /// Times as the page has them: "12.480 s", "1:02:03.400".
    function clock(seconds) {
        const rounded = Math.round(Math.abs(seconds) * 1000) / 1000;
        const sign = seconds < 0 && rounded > 0 ? "-" : "";
        const minutes = Math.floor(rounded / 60);
        const rest = (rounded - 60 * minutes).toFixed(3);
        if (minutes === 0) {
            return `${sign}${rest} s`;
        }
        const hours = Math.floor(minutes / 60);
        const clockMinutes = hours === 0 ? `${minutes}`
            : `${hours}:${String(minutes % 60).padStart(2, "0")}`;
        return `${sign}${clockMinutes}:${rest.padStart(6, "0")}`;
    }

    /// A place of a curve holds a number, or the lowest and highest of several frames.
    const valueText = (place) => Array.isArray(place) ? place.join("–") : String(place);

    function placeText(field, place) {
        const values = channels.map((channel) => {
            const { found, smoothed } = data.levels[field][channel];
            const text = valueText(found[place]);
            const rendered = valueText(smoothed[place]);
            return `${channel} ${text}${text === rendered ? "" : ` → ${rendered}`}`;
        });
        return `${clock(data.times[place])}, frame ${data.frames[place]}: ${values.join(", ")}`;
    }

    /// Where the place is between the beginning and the end of the curves, 0 to 1.
    const begin = data.times[0];
    const duration = data.times[data.times.length - 1] - begin;
    const positionOf = (place) => duration > 0 ? (data.times[place] - begin) / duration : 0.5;

    function placeAt(position) {
        let nearest = 0;
        for (let place = 1; place < data.times.length; ++place) {
            if (Math.abs(positionOf(place) - position) < Math.abs(positionOf(nearest) - position)) {
                nearest = place;
            }
        }
        return nearest;
    }

    const cursors = [];

    function showPlace(place) {
        for (const { chart, line, range, readout } of cursors) {
            const x = 1000 * positionOf(place);
            const text = placeText(chart.dataset.field, place);
            line.setAttribute("d", `M${x} 0V100`);
            range.value = place;
            range.setAttribute("aria-valuetext", text);
            readout.textContent = text;
        }
    }

    function addCursor(chart) {
        const svg = chart.querySelector("svg");
        const line = document.createElementNS(svg.namespaceURI, "path");
        line.setAttribute("class", "cursor");
        svg.append(line);
        const title = chart.querySelector("figcaption").textContent;
        const range = makeRange(`${title}: frame whose values are shown`, data.times.length - 1, 0);
        const readout = document.createElement("p");
        readout.className = "readout";
        chart.append(range, readout);
        range.addEventListener("input", () => showPlace(Number(range.value)));
        followPointer(svg, false, (position) => showPlace(placeAt(position)));
        cursors.push({ chart, line, range, readout });
    }

    document.documentElement.classList.add("scripted");
    document.querySelectorAll(".pair").forEach(addDivider);
    document.querySelectorAll(".chart").forEach(addCursor);
    showPlace(0);
})();
