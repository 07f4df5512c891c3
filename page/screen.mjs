// The text console of the controller's screen, and how it is drawn over the splash image.
import {svg} from './dom.mjs';

export const COLUMNS = 60, ROWS = 17;
const CELL_WIDTH = 8, CELL_HEIGHT = 16, BASELINE = 12;  // 480 by 272, as the images are
const PALETTE = ['#000', '#a00', '#0a0', '#a50', '#00a', '#a0a', '#0aa', '#aaa',
    '#555', '#f55', '#5f5', '#ff5', '#55f', '#f5f', '#5ff', '#fff'];
const PLAIN = {fore: 7, back: 0, bold: false, reversed: false};

export const clamp = (number, least, most) => Math.min(Math.max(number, least), most);

function styled(style, code) {
    const ranges = [[30, 'fore', 0], [40, 'back', 0], [90, 'fore', 8], [100, 'back', 8]];
    for (const [first, part, color] of ranges) {
        if (code >= first && code < first + 8)
            return {...style, [part]: color + code - first};
    }
    const others = {0: PLAIN, 1: {bold: true}, 2: {bold: false}, 22: {bold: false},
        7: {reversed: true}, 27: {reversed: false}, 39: {fore: 7}, 49: {back: 0}};
    return {...style, ...others[code]};
}

// The two colours that a style shows.
export function colorsOf({fore, back, bold, reversed}) {
    const pair = [PALETTE[bold && fore < 8 ? fore + 8 : fore], PALETTE[back]];
    return reversed ? pair.reverse() : pair;
}

// A console that knows what the daemon's lines and the sequences of a colour list may use.
export class Console {
    constructor() {
        this.clear();
        this.row = this.column = 0;
        this.style = PLAIN;
    }

    clear() {
        this.cells = Array.from({length: ROWS}, () => Array(COLUMNS).fill(null));
    }

    write(text) {
        const pattern = /\x1b\[([0-9;?]*)([A-Za-z@`])|\x1b.?|[\s\S]/gu;
        for (const [all, parameters, final] of text.matchAll(pattern)) {
            if (final !== undefined)
                this.#obey(parameters.split(';').map(Number), final);
            else if (all[0] !== '\x1b')
                this.#put(all);
        }
        return this;
    }

    #obey(numbers, final) {
        if (final === 'm') {
            this.style = numbers.reduce(styled, this.style);
        } else if (final === 'H' || final === 'f') {
            this.row = clamp((numbers[0] || 1) - 1, 0, ROWS - 1);
            this.column = clamp((numbers[1] || 1) - 1, 0, COLUMNS - 1);
        } else if (final === 'J') {
            this.clear();
        } else if (final === 'K') {
            this.cells[this.row].fill(null, this.column);
        }
    }

    #put(character) {
        if (character === '\r') {
            this.column = 0;
        } else if (character === '\n') {
            this.#newLine();
        } else if (character >= ' ' && character !== '\x7f') {
            if (this.column === COLUMNS) {
                this.column = 0;
                this.#newLine();
            }
            this.cells[this.row][this.column++] = {character, ...this.style};
        }
    }

    #newLine() {
        if (this.row === ROWS - 1) {
            this.cells.shift();
            this.cells.push(Array(COLUMNS).fill(null));
        } else {
            ++this.row;
        }
    }

    // Written cells beside each other in the same colours: [{row, column, text, fore, back}...].
    runs() {
        const runs = [];
        this.cells.forEach((cells, row) => cells.forEach((cell, column) => {
            if (cell === null)
                return;
            const [fore, back] = colorsOf(cell), last = runs.at(-1);
            if (last?.row === row && last.column + last.size === column && last.fore === fore &&
                last.back === back) {
                last.text += cell.character;
                ++last.size;
            } else {
                runs.push({row, column, size: 1, text: cell.character, fore, back});
            }
        }));
        return runs;
    }
}

// The colours of a sequence of the colour list, in which \033 stands for the escape byte.
export function colorsOfSequence(sequence) {
    const shown = new Console();
    shown.write(sequence.replace(/\\(033|0?33|e|x1[bB])/g, '\x1b'));
    return colorsOf(shown.style);
}

// A data URL of a binary PPM image with 8 bits a colour, or null for anything else.
export function imageOf(bytes) {
    const head = String.fromCharCode(...bytes.subarray(0, 512));
    const found = /^P6(?:\s|#[^\n]*\n)+(\d+)(?:\s|#[^\n]*\n)+(\d+)(?:\s|#[^\n]*\n)+255\s/.exec(head);
    const width = Number(found?.[1]), height = Number(found?.[2]);
    if (!(width * height > 0 && found[0].length + width * height * 3 <= bytes.length))
        return null;
    const canvas = document.createElement('canvas');
    canvas.width = width;
    canvas.height = height;
    const image = new ImageData(width, height);
    for (let from = found[0].length, to = 0; to < image.data.length; from += 3, to += 4)
        image.data.set([bytes[from], bytes[from + 1], bytes[from + 2], 255], to);
    canvas.getContext('2d').putImageData(image, 0, 0);
    return canvas.toDataURL();
}

// Draws a console over an image. Marks: [{row, column, text, level}...], findings on labels.
export function drawScreen(shown, image, marks, title) {
    const at = (column, row) => ({x: column * CELL_WIDTH, y: row * CELL_HEIGHT});
    const parts = [svg('title', {}, title), svg('rect', {width: 480, height: 272, fill: '#000'})];
    if (image)
        parts.push(svg('image', {href: image, width: 480, height: 272}));
    for (const run of shown.runs()) {
        const {x, y} = at(run.column, run.row), width = run.size * CELL_WIDTH;
        parts.push(svg('rect', {x, y, width, height: CELL_HEIGHT, fill: run.back}));
        const text = run.text.trimEnd();
        if (text !== '')
            parts.push(svg('text', {x, y: y + BASELINE, fill: run.fore,
                textLength: [...text].length * CELL_WIDTH}, text));
    }
    for (const mark of marks) {
        const {x, y} = at(clamp(mark.column, 1, COLUMNS) - 1, clamp(mark.row, 1, ROWS) - 1);
        parts.push(svg('rect', {x, y, width: 9 * CELL_WIDTH, height: CELL_HEIGHT,
            class: `mark ${mark.level}`}));
        parts.push(svg('rect', {x: x + 55, y: y - 8, width: 9 + 7 * mark.text.length, height: 14,
            rx: 7, class: mark.level}));
        parts.push(svg('text', {x: x + 59, y: y + 3, class: 'marked'}, mark.text));
    }
    return svg('svg', {class: 'screen', viewBox: '0 0 480 272', role: 'img'}, ...parts);
}
