import { byId, setText } from './dom.js';

/** Asks in a modal dialog; true if the user says yes. The browser gives the focus back to where it was. */
export function confirmed(question, yes) {
    const dialog = byId('confirm');
    setText(byId('confirm-text'), question);
    setText(byId('confirm-yes'), yes);
    return new Promise((resolve) => {
        byId('confirm-yes').onclick = () => dialog.close('yes');
        byId('confirm-no').onclick = () => dialog.close('');
        dialog.onclose = () => resolve(dialog.returnValue === 'yes');
        dialog.returnValue = '';
        dialog.showModal();
        byId('confirm-no').focus();
    });
}
