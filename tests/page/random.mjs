// Random configurations: the delivered files with things that owners, editors and disks do to them.

// Numbers from 0 to below `most`, the same for a seed on every machine.
export function numbersFrom(seed) {
    let state = seed >>> 0;
    return most => {
        state = (Math.imul(state, 1664525) + 1013904223) >>> 0;
        return Math.floor(state / 2 ** 32 * most);
    };
}

const WORDS = ['-1', '0', '1', '60', '62', '127', '128', '200', '99999999999', 'x', 'PLAY_A', 'LOOP', '.*', 'NA', 'RED',
    'GREEN', 'DECK_A_1', '\\033[1;31m', '[1;31m', '\xfc', '\xc3\xbc', '#', '"', '<b>', '=1'];
const LINES = ['', '#21 1 60 3 0 1 2 PLAY_A', ' 21 1 60 3 0 1 2 PLAY_A', 'midi_channel=4', 'midi_preset=0', 'midi_preset=1',
    'preset=2', 'PLAY_A 50', '200 1 1 1 1 1 1 FAR', 'DECK_A_2 again 63 RED GREEN', '16 \\033[7m NEW', '\xff', '\0', 'x'.repeat(300)];
const FILES = ['orvik.midictl.cfg', 'orvik.midictl.cfg0.txt', 'orvik.sys.cfg', 'orvik.color.cfg',
    'orvik.softlabelpos.cfg', 'orvik.miditxt.cfg0.txt'];

function changed(text, below) {
    const lines = text.split('\n'), word = WORDS[below(WORDS.length)];
    const data = lines.map((line, i) => i).filter(i => /^[^# \n]/.test(lines[i]));
    const on = data[below(data.length)] ?? 0;
    const ways = [
        line => `${line}\n${line}`,
        line => `${LINES[below(LINES.length)]}\n${line}`,
        line => line.split(' ').map((field, i, all) => (i === on % all.length ? word : field)).join(' '),
        line => line.replace(/\d+/g, number => (below(3) === 0 ? String(below(130)) : number)),
        line => line.replace(/=.*/, `=${word}`),
        line => `${line} ${word}`,
        line => line.replace(/ +\S*$/, ''),
        line => `#${line}`,
        line => line.replaceAll(' ', '\t'),
        line => `${line}\r`,
        line => `\xef\xbb\xbf${line}`,
    ];
    lines[on] = ways[below(ways.length)](lines[on]);
    return lines.join('\n');
}

// A map of names and bytes, made of such a map.
export function randomConfiguration(delivered, seed) {
    const below = numbersFrom(seed), files = new Map(delivered);
    const text = name => Buffer.from(files.get(name) ?? '').toString('latin1');
    const put = (name, content) => files.set(name, new Uint8Array(Buffer.from(content, 'latin1')));
    for (let i = 0; i <= below(8); ++i) {
        const name = FILES[below(FILES.length)];
        if (below(40) === 0)
            files.delete(name);
        else if (files.has(name))
            put(name, below(40) === 0 ? '' : changed(text(name), below));
    }
    if (below(3) === 0 && files.has('orvik.sys.cfg'))
        put('orvik.sys.cfg', text('orvik.sys.cfg').replace('midi_preset=', 'midi_preset=0'));
    return files;
}
