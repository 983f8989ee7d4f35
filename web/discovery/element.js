// Elements with text. This page never creates elements from markup: data from the network is
// only put into text nodes and attributes.

export function element(name, className = '', ...content) {
    const made = document.createElement(name);
    if (className !== '') {
        made.className = className;
    }
    made.append(...content);
    return made;
}

// Sets an element's text if it differs: otherwise the browser would repeat the layout.
export function setText(target, text) {
    if (target.textContent !== text) {
        target.textContent = text;
    }
}
