// Elements with text in them. Nothing on this page is ever made from markup: what the
// network says goes into text nodes only.

export function element(name, className = '', ...content) {
    const made = document.createElement(name);
    if (className !== '') {
        made.className = className;
    }
    made.append(...content);
    return made;
}

// Sets an element's text, unless it is that already: nothing is laid out anew then.
export function setText(target, text) {
    if (target.textContent !== text) {
        target.textContent = text;
    }
}
