// Finds devices by typed words: each word must occur in some detail of the device. Upper and
// lower case and accents make no difference.

export function folded(text) {
    return text.normalize('NFKD').replace(/\p{M}/gu, '').toLowerCase();
}

export function wordsOf(typed) {
    return folded(typed).split(/\s+/u).filter((word) => word !== '');
}

export function matches(device, words) {
    return words.every((word) => device.searched.includes(word));
}
