// The text console of the controller's screen, and how it is drawn over the splash image.
import {html, svg} from './dom.mjs';

const COLUMNS = 60, ROWS = 17, LABEL_COLUMNS = 9;
const CELL_WIDTH = 8, CELL_HEIGHT = 16, BASELINE = 12;  // 480 by 272, as the images are
const PALETTE = ['#000', '#a00', '#0a0', '#a50', '#00a', '#a0a', '#0aa', '#aaa',
    '#555', '#f55', '#5f5', '#ff5', '#55f', '#f5f', '#5ff', '#fff'];
const PLAIN = {fore: 7, back: 0, bold: false, reversed: false};
const STYLES = {0: PLAIN, 1: {bold: true}, 2: {bold: false}, 22: {bold: false}, 7: {reversed: true},
    27: {reversed: false}, 39: {fore: 7}, 49: {back: 0}};
for (let i = 0; i < 8; ++i) {
    Object.assign(STYLES, {[30 + i]: {fore: i}, [90 + i]: {fore: i + 8}});
    Object.assign(STYLES, {[40 + i]: {back: i}, [100 + i]: {back: i + 8}});
}

export const clamp = (number, least, most) => Math.min(Math.max(number, least), most);
const emptyRow = () => Array(COLUMNS).fill(null);
// Rows and columns are counted from 1 by the daemon, from 0 here.
const cellAt = (row, column) => [clamp(row, 1, ROWS) - 1, clamp(column, 1, COLUMNS) - 1];

// The two colours that a style shows.
function colorsOf({fore, back, bold, reversed}) {
    const pair = [PALETTE[bold && fore < 8 ? fore + 8 : fore], PALETTE[back]];
    return reversed ? pair.reverse() : pair;
}

// A console that knows what the daemon's lines and the sequences of a colour list may use.
export class Console {
    cells = Array.from({length: ROWS}, emptyRow);
    row = 0;
    column = 0;
    style = PLAIN;

    write(text) {
        for (const [all, parameters, final] of text.matchAll(/\x1b\[([0-9;?]*)([A-Za-z@`])|\x1b.?|[^]/gu)) {
            if (final)
                this.#obey(parameters.split(';').map(Number), final);
            else if (all[0] !== '\x1b')
                this.#put(all);
        }
        return this;
    }

    #obey(numbers, final) {
        if (final === 'm')
            this.style = numbers.reduce((style, code) => ({...style, ...STYLES[code]}), this.style);
        else if (final === 'H' || final === 'f')
            [this.row, this.column] = cellAt(numbers[0] || 1, numbers[1] || 1);
        else if (final === 'J')
            this.cells = this.cells.map(emptyRow);
        else if (final === 'K')
            this.cells[this.row].fill(null, this.column);
    }

    #put(character) {
        const isShown = character >= ' ' && character !== '\x7f', isFull = isShown && this.column === COLUMNS;
        if (character === '\r' || isFull)
            this.column = 0;
        if (character === '\n' || isFull)
            this.#goDown();
        if (isShown)
            this.cells[this.row][this.column++] = {character, ...this.style};
    }

    #goDown() {
        if (this.row < ROWS - 1)
            ++this.row;
        else
            this.cells = [...this.cells.slice(1), emptyRow()];
    }

    // Written cells beside each other in the same colours: [{row, column, end, text, fore, back}...].
    runs() {
        const runs = [];
        this.cells.forEach((cells, row) => cells.forEach((cell, column) => {
            const [fore, back] = colorsOf(cell ?? PLAIN), last = runs.at(-1);
            if (cell && last?.row === row && last.end === column && last.fore === fore && last.back === back)
                Object.assign(last, {text: last.text + cell.character, end: column + 1});
            else if (cell)
                runs.push({row, column, end: column + 1, text: cell.character, fore, back});
        }));
        return runs;
    }
}

// The colours of a sequence of the colour list, in which \033 stands for the escape byte.
export const colorsOfSequence = sequence =>
    colorsOf(new Console().write(sequence.replace(/\\(0?33|e|x1[bB])/g, '\x1b')).style);

// A data URL of a binary PPM image with 8 bits a colour, or null for anything else.
export function imageOf(bytes) {
    const head = String.fromCharCode(...bytes.subarray(0, 512));
    const found = /^P6(?:\s|#[^\n]*\n)+(\d+)(?:\s|#[^\n]*\n)+(\d+)(?:\s|#[^\n]*\n)+255\s/.exec(head);
    const width = Number(found?.[1]), height = Number(found?.[2]);
    if (!(width * height > 0 && found[0].length + width * height * 3 <= bytes.length))
        return null;
    const canvas = html('canvas', {width, height}), image = new ImageData(width, height);
    for (let from = found[0].length, to = 0; to < image.data.length; from += 3, to += 4)
        image.data.set([bytes[from], bytes[from + 1], bytes[from + 2], 255], to);
    canvas.getContext('2d').putImageData(image, 0, 0);
    return canvas.toDataURL();
}

// Draws a console over an image. Marks: [{row, column, text, level}...], findings on labels.
export function drawScreen(shown, image, marks, title) {
    const box = (row, column, width, more) => svg('rect', {x: column * CELL_WIDTH, y: row * CELL_HEIGHT,
        width: width * CELL_WIDTH, height: CELL_HEIGHT, ...more});
    const runs = shown.runs().map(({row, column, end, text, fore, back}) => {
        const words = text.trimEnd();
        return [box(row, column, end - column, {fill: back}), words && svg('text', {x: column * CELL_WIDTH,
            y: row * CELL_HEIGHT + BASELINE, fill: fore, textLength: [...words].length * CELL_WIDTH}, words)];
    });
    const found = marks.map(({text, level, ...at}) => {
        const [row, column] = cellAt(at.row, at.column), x = column * CELL_WIDTH + 55, y = row * CELL_HEIGHT - 8;
        return [box(row, column, LABEL_COLUMNS, {class: `mark ${level}`}),
            svg('rect', {x, y, width: 9 + 7 * text.length, height: 14, rx: 7, class: level}),
            svg('text', {x: x + 4, y: y + 11, class: 'marked'}, text)];
    });
    return svg('svg', {class: 'screen', viewBox: '0 0 480 272', role: 'img'}, svg('title', {}, title),
        svg('rect', {width: 480, height: 272, fill: '#000'}),
        image && svg('image', {href: image, width: 480, height: 272}), runs, found);
}
