// Finding devices by what one types: every word must occur, in any detail, whatever its
// case and accents.

export function folded(text) {
    return text.normalize('NFKD').replace(/\p{M}/gu, '').toLowerCase();
}

export function wordsOf(typed) {
    return folded(typed).split(/\s+/u).filter((word) => word !== '');
}

export function matches(device, words) {
    return words.every((word) => device.searched.includes(word));
}
